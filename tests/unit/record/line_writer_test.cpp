#include "record/line_writer.hpp"
#include "support/log_capture.hpp"
#include "support/source_tree.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace std::chrono_literals;

namespace {

constexpr const char* PATH = "/var/lib/celld/lines";
constexpr auto PATIENCE = 30s;
const ecu::kova::logging::Module& LOG_MODULE = ecu::kova::logging::module("celld.test");

class Lines : public ::testing::Test {
protected:
    static LineWriter::Settings settings(std::size_t limit, std::size_t backlog)
    {
        return {{PATH, limit, 0644, true}, backlog, "The file", LOG_MODULE};
    }

    TempRoot root;
    LogCapture log;
};

} // namespace

TEST_F(Lines, TwoFilesAreAllThereEverIsAndTheNewestLinesAreInThem)
{
    constexpr std::size_t LIMIT = 1000;
    std::string all;
    LineWriter writer(settings(LIMIT, 10'000));
    for (int i = 0; i < 1000; ++i) {
        const auto line = "line " + std::to_string(i);
        writer.write(line);
        ASSERT_TRUE(writer.flush(PATIENCE));
        all += line + '\n';
    }
    const auto kept = root.read(std::string(PATH) + ".1") + root.read(PATH);
    EXPECT_TRUE(all.ends_with("\n" + kept)) << kept;
    EXPECT_GT(kept.size(), LIMIT);
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(root.path("/var/lib/celld"))) {
        EXPECT_LE(entry.file_size(), LIMIT);
        ++files;
    }
    EXPECT_EQ(files, 2U);
}

TEST_F(Lines, ALineThatAPowerCutHasTornIsEndedBeforeTheNext)
{
    root.write(PATH, "whole\ntor");
    {
        LineWriter writer(settings(1000, 10));
        writer.write("next");
    }
    EXPECT_EQ(root.read(PATH), "whole\ntor\nnext\n");
}

TEST_F(Lines, AFolderThatCannotBeWrittenIsSaidOnceAndSoIsThatItCan)
{
    root.write("/var/lib/celld", "a file in its place");
    LineWriter writer(settings(1000, 10));
    for (int i = 0; i < 3; ++i) {
        writer.write("lost");
        ASSERT_TRUE(writer.flush(PATIENCE));
    }
    EXPECT_EQ(
        log.count("The file cannot be written (" + root.path(PATH).string() + ": Not a directory (20))"), 1U)
        << log;
    root.remove("/var/lib/celld");
    writer.write("kept");
    writer.write("kept too");
    ASSERT_TRUE(writer.flush(PATIENCE));
    EXPECT_EQ(log.count("The file is written again, 3 lines were lost"), 1U) << log;
    EXPECT_EQ(root.read(PATH), "# 3 lines are missing here\nkept\nkept too\n");
}

TEST_F(Lines, APipeInItsPlaceHoldsNobodyUp)
{
    std::filesystem::create_directories(root.path("/var/lib/celld"));
    ASSERT_EQ(::mkfifo(root.path(PATH).c_str(), 0600), 0);
    LineWriter writer(settings(1000, 10));
    writer.write("lost");
    ASSERT_TRUE(writer.flush(PATIENCE));
    EXPECT_EQ(log.count("is no regular file"), 1U) << log;
}

TEST_F(Lines, WhatTheDiskIsTooSlowForIsDroppedAndCounted)
{
    constexpr std::uint64_t COUNT = 20'000;
    {
        LineWriter writer(settings(100'000'000, 4));
        for (std::uint64_t i = 0; i < COUNT; ++i) {
            writer.write("line");
        }
        ASSERT_TRUE(writer.flush(PATIENCE));
        writer.write("last"); // and with it what was dropped behind the one before
    }
    const auto text = root.read(PATH);
    std::uint64_t missing = 0;
    for (const auto& count : all_found(text, "# ([0-9]+) lines")) {
        missing += std::stoull(count);
    }
    EXPECT_EQ(all_found(text, "line\n").size() + missing, COUNT);
    EXPECT_GT(missing, 0U);
    EXPECT_TRUE(text.ends_with("\nlast\n"));
}
