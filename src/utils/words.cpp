#include "utils/words.hpp"

#include "utils/strings.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace utils {
namespace {

constexpr std::size_t LETTERS_A_SLIP = 3; // one slip is believed for so many letters

std::size_t difference(std::size_t a, std::size_t b)
{
    return a > b ? a - b : b - a;
}

/// How many slips lead from one to the other: Levenshtein's distance with neighbours swapped counted as one
/// (optimal string alignment), row by row.
std::size_t slips_between(const std::string& from, const std::string& to)
{
    std::vector<std::size_t> before_last;
    std::vector<std::size_t> last(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j) {
        last[j] = j;
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::vector<std::size_t> row(to.size() + 1, i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t changed = last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], before_last[j - 2] + 1);
            }
        }
        before_last = std::move(last);
        last = std::move(row);
    }
    return last.back();
}

} // namespace

bool is_among(std::string_view word, Words known)
{
    return std::find(known.begin(), known.end(), word) != known.end();
}

std::string listed(Words known)
{
    std::string list;
    for (const char* word : known) {
        list += (list.empty() ? "" : ", ") + std::string(word);
    }
    return list;
}

void warn_of_unknown(const ecu::kova::logging::Module& log, const std::string& what, const std::string& word,
                     Words known)
{
    if (!word.empty() && !is_among(word, known)) {
        log.warning(what, " is '", word, "', which is none of ", listed(known));
    }
}

const char* nearest(std::string_view word, Words known)
{
    const std::size_t most = std::max<std::size_t>(1, word.size() / LETTERS_A_SLIP);
    const char* best = nullptr;
    std::size_t fewest = most + 1;
    for (const char* candidate : known) {
        const std::string meant = lower_case(candidate);
        if (difference(meant.size(), word.size()) > most) {
            continue; // a word without end costs nothing
        }
        const std::size_t slips = slips_between(lower_case(std::string(word)), meant);
        if (slips < fewest) {
            fewest = slips;
            best = candidate;
        }
    }
    return best;
}

} // namespace utils
