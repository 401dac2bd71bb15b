#include "Failure.hpp"
#include "NativePlatform.hpp"

namespace tarnel::command {

std::unique_ptr<NativePlatform> NativePlatform::install(NativePlatformOptions) {
    throw Failure("this tarnel was built without Bluetooth, for which it needs SQLite and sdbus-c++ 1.2 when it is "
                  "built; simulated glasses are used with --simulated");
}

std::optional<std::string> NativePlatform::addressOf(const UUID&) {
    return std::nullopt;
}

} // namespace tarnel::command
