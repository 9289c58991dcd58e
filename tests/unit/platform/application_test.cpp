#include "support/datagrams.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/application.hpp>
#include <gtest/gtest.h>

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
