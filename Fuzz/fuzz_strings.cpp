#include <TarnelSDK/ui/StringTable.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto result = tarnel::parseStringTable({reinterpret_cast<const char*>(data), size});
    if (result.error && !result.table.empty()) {
        std::abort();
    }
    return 0;
}
