#include <TarnelSDK/platform/Precondition.hpp>

#include <cstdio>
#include <cstdlib>

namespace tarnel {

void preconditionFailure(std::string_view what, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: precondition failed: %.*s\n", file, line, static_cast<int>(what.size()), what.data());
    std::abort();
}

} // namespace tarnel
