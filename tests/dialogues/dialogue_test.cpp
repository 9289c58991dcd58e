#include "dialogues/dialogue.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

std::string read(const std::filesystem::path& file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

std::vector<std::string> names()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(DIALOGUES)) {
        names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::filesystem::path file_of(const std::string& name)
{
    return std::filesystem::path(DIALOGUES) / (name + ".txt");
}

class Recorded : public Dialogue, public ::testing::WithParamInterface<std::string> {
protected:
    Recorded() : Dialogue(read(file_of(GetParam()))) {}
};

/// The first difference with the line above it.
std::string difference(const std::string& recorded, const std::string& played)
{
    std::istringstream left(recorded);
    std::istringstream right(played);
    std::string was;
    std::string is;
    std::string above;
    for (int number = 1;; ++number, above = was) {
        const bool more = static_cast<bool>(std::getline(left, was));
        const bool more_now = static_cast<bool>(std::getline(right, is));
        if (!more || !more_now || was != is) {
            return "line " + std::to_string(number) + ", below\n " + above + "\nrecorded\n " +
                   (more ? was : "(the end)") + "\nnow\n " + (more_now ? is : "(the end)");
        }
    }
}

} // namespace

TEST_P(Recorded, GoesAsItWent)
{
    const auto file = file_of(GetParam());
    const auto recorded = read(file);
    ASSERT_NE(recorded, "") << file << " says nothing";
    const auto now = played(recorded);
    if (std::getenv("RECORD_DIALOGUES") != nullptr) {
        std::ofstream(file) << now;
    } else if (now != recorded) {
        ADD_FAILURE() << file.string() << ", " << difference(recorded, now);
    }
}

INSTANTIATE_TEST_SUITE_P(Dialogues, Recorded, ::testing::ValuesIn(names()),
                         [](const auto& instance) { return instance.param; });
