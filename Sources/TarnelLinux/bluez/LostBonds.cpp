#include <TarnelLinux/bluez/LostBonds.hpp>

namespace tarnel::bluez {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// The keys are compared first of all; a radio that loses the device takes longer to notice.
constexpr auto soon = 3s;
/// Ends that lie further apart have nothing to do with each other.
constexpr auto inARow = 60s;
constexpr int enough = 3;

} // namespace

void LostBonds::connected(const std::string& address) {
    records_[address].connected = Clock::now();
}

void LostBonds::ended(const std::string& address) {
    if (isLost(address)) {
        return;
    }
    Record& record = records_[address];
    const auto now = Clock::now();
    if (now - record.connected > soon) {
        records_.erase(address);
        return;
    }
    record.ends = now - record.ended > inARow ? 1 : record.ends + 1;
    record.ended = now;
}

void LostBonds::refused(const std::string& address) {
    Record& record = records_[address];
    record.ends = enough;
    record.ended = Clock::now();
}

bool LostBonds::isLost(const std::string& address) const {
    const auto found = records_.find(address);
    return found != records_.end() && found->second.ends >= enough && Clock::now() - found->second.ended <= inARow;
}

} // namespace tarnel::bluez
