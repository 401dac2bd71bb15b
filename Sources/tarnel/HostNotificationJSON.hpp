#pragma once

#include "JSON.hpp"

#include <TarnelGlasses/NotificationReader.hpp>

#include <cstdint>

namespace tarnel::command {

/// What the glasses have read of a notification of the host.
inline JSON::Object membersOf(const glasses::HostNotification& notification) {
    return {{"uid", std::uint64_t{notification.uid}},
            {"application", notification.application},
            {"title", notification.title},
            {"message", notification.message},
            {"isSilent", notification.isSilent}};
}

} // namespace tarnel::command
