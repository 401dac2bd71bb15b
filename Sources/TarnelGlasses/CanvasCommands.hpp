#pragma once

#include <TarnelGlasses/DisplayLayers.hpp>
#include <TarnelSDK/platform/Value.hpp>

namespace tarnel::glasses {

/// Carries out the one command in the value of "canvas". Throws `CommandFailure` and `UnknownCommand`, and then nothing
/// is drawn. Tells whether it was a flush.
bool performCanvasCommand(const Value& value, DisplayLayers& layers);

} // namespace tarnel::glasses
