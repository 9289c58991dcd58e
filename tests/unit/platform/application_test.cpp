#include "support/datagrams.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/application.hpp>
#include <ecu/kova/root.hpp>

TEST(Application, TellsTheServiceManagerOnceThatItIsReady)
{
    const TempRoot root;
    const Datagrams manager(root.path("/notify").string()); // its end of sd_notify(3)
    setenv("NOTIFY_SOCKET", root.path("/notify").c_str(),
           1); // NOLINT(concurrency-mt-unsafe): no other thread
    ecu::kova::application_starting();
    ecu::kova::application_ready();
    ecu::kova::application_ready();
    const std::string name = "@celld-test-" + std::to_string(getpid());
    const Datagrams abstract(name);
    setenv("NOTIFY_SOCKET", name.c_str(), 1); // NOLINT(concurrency-mt-unsafe): no other thread
    ecu::kova::application_starting();
    EXPECT_EQ(abstract.received(), std::vector<std::string>{"STATUS=Starting"});
    unsetenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): no other thread
    EXPECT_EQ(manager.received(), (std::vector<std::string>{"STATUS=Starting", "READY=1\nSTATUS=Running"}));
}

TEST(Rooted, PutsTheRootInFrontOfAbsolutePathsOnly)
{
    const TempRoot root; // which takes the variable away again
    for (const auto& [prefix, path, rooted] :
         std::vector<std::array<const char*, 3>>{{"/r", "/a/b", "/r/a/b"},
                                                 {"/r//", "/a", "/r/a"},
                                                 {"/", "/a", "/a"},
                                                 {"", "/a", "/a"},
                                                 {"/r", "a", "a"},
                                                 {"/r", "", ""}}) {
        setenv("CELLD_ROOT", prefix, 1); // NOLINT(concurrency-mt-unsafe): no other thread
        EXPECT_EQ(ecu::kova::rooted(path), rooted) << prefix;
    }
}
