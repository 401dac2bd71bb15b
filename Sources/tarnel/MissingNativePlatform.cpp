#include "Failure.hpp"
#include "Missing.hpp"
#include "NativePlatform.hpp"

namespace tarnel::command {

bool NativePlatform::exists() {
    return false;
}

std::unique_ptr<NativePlatform> NativePlatform::install(NativePlatformOptions) {
    throw Failure(noBluetoothText);
}

std::optional<std::string> NativePlatform::addressOf(const UUID&) {
    return std::nullopt;
}

} // namespace tarnel::command
