#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

/// Leaves out of a list what is not needed for `fails` to be true of it, the larger pieces first; in the end
/// nothing more can be left out, or `limit` questions have been asked. Zeller and Hildebrandt, "Simplifying
/// and Isolating Failure-Inducing Input", 2002. `fails` is true of `all`.
template <class T>
std::vector<T> cut_down(std::vector<T> all, const std::function<bool(const std::vector<T>&)>& fails,
                        std::size_t limit)
{
    std::size_t piece = (all.size() + 1) / 2;
    while (piece > 0 && limit > 0) {
        bool shorter = false;
        for (std::size_t begin = 0; begin < all.size() && limit > 0;) {
            auto less = all;
            const auto end = std::min(begin + piece, less.size());
            less.erase(less.begin() + static_cast<std::ptrdiff_t>(begin),
                       less.begin() + static_cast<std::ptrdiff_t>(end));
            limit -= less.empty() ? 0 : 1;
            if (!less.empty() && fails(less)) {
                all = std::move(less);
                shorter = true;
            } else {
                begin = end;
            }
        }
        if (!shorter || piece > all.size()) {
            piece = piece == 1 && !shorter ? 0 : (piece + 1) / 2;
        }
    }
    return all;
}
