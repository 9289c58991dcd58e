#include <ecu/kova/root.hpp>

#include <cstdlib>

namespace ecu::kova {

std::string rooted(const std::string& path)
{
    // secure_getenv(3): a program with raised privileges does not let its caller choose the files.
    const char* root = secure_getenv("CELLD_ROOT");
    if (root == nullptr || *root == '\0' || path.empty() || path.front() != '/') {
        return path;
    }
    std::string prefix(root);
    while (!prefix.empty() && prefix.back() == '/') {
        prefix.pop_back();
    }
    return prefix + path;
}

} // namespace ecu::kova
