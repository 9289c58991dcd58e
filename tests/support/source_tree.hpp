#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <vector>

// For what must not stay behind the sources: their text, and what a pattern finds in it.

inline std::string read_text(const std::filesystem::path& file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// What the pattern, or its first group, finds.
inline std::vector<std::string> all_found(const std::string& text, const std::string& pattern)
{
    const std::regex regex(pattern);
    std::vector<std::string> all;
    for (std::sregex_iterator at(text.begin(), text.end(), regex), none; at != none; ++at) {
        all.push_back((*at)[regex.mark_count() == 0 ? 0 : 1]);
    }
    return all;
}

/// The same in every source of the daemon and its platform library, with the file's name.
inline std::multimap<std::string, std::string> found_in_the_sources(const std::string& pattern)
{
    std::multimap<std::string, std::string> all;
    for (const char* folder : {CELLD_SOURCE_DIR "/src", CELLD_SOURCE_DIR "/platform/src"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (entry.is_regular_file()) {
                for (const auto& found : all_found(read_text(entry.path()), pattern)) {
                    all.emplace(found, entry.path().filename());
                }
            }
        }
    }
    return all;
}
