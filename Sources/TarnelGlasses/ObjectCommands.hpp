#pragma once

#include <TarnelGlasses/LvglFont.hpp>
#include <TarnelGlasses/ObjectLayer.hpp>
#include <TarnelSDK/platform/Value.hpp>

#include <functional>
#include <string>
#include <vector>

namespace tarnel::glasses {

/// What an "lvgl_obj" message asks for.
struct ObjectCommands {
    std::vector<std::function<void(ObjectLayer& objects, platform::Duration now)>> changes;
    bool flushes = false;
    /// Why fonts in it are refused. A refused font is no failure: the other commands hold.
    std::vector<std::string> refusedFonts;
};

/// Takes the value of "lvgl_obj" apart: one command, or an array of commands, which hold all or none.
/// Throws `CommandFailure` and `UnknownCommand`.
ObjectCommands parseObjectCommands(const Value& value, LvglVersion version);

} // namespace tarnel::glasses
