#pragma once

#include "Operation.hpp"
#include "Pictures.hpp"

#include <TarnelSDK/display/Anchor.hpp>
#include <TarnelSDK/display/Color.hpp>
#include <TarnelSDK/display/LVGLSlotManager.hpp>
#include <TarnelSDK/display/TextProperties.hpp>

/// The cases of enumerations of what is displayed, as arguments name them.
namespace tarnel::command {

inline constexpr Cases<Color, 4> colors{{
    {"black", Color::black},
    {"dim", Color::dim},
    {"mid", Color::mid},
    {"white", Color::white},
}};

inline constexpr Cases<TextAlignment, 4> textAlignments{{
    {"auto", TextAlignment::auto_},
    {"left", TextAlignment::left},
    {"center", TextAlignment::center},
    {"right", TextAlignment::right},
}};

inline constexpr Cases<TextWrapMode, 6> textWrapModes{{
    {"default", TextWrapMode::default_},
    {"wrap", TextWrapMode::wrap},
    {"truncate", TextWrapMode::truncate},
    {"scrollBackAndForth", TextWrapMode::scrollBackAndForth},
    {"scrollCircular", TextWrapMode::scrollCircular},
    {"clip", TextWrapMode::clip},
}};

inline constexpr Cases<Anchor, 9> anchors{{
    {"topLeft", Anchor::topLeft},
    {"topCenter", Anchor::topCenter},
    {"topRight", Anchor::topRight},
    {"bottomLeft", Anchor::bottomLeft},
    {"bottomCenter", Anchor::bottomCenter},
    {"bottomRight", Anchor::bottomRight},
    {"midLeft", Anchor::midLeft},
    {"midRight", Anchor::midRight},
    {"center", Anchor::center},
}};

inline constexpr Cases<Dither, 3> dithers{{
    {"auto", Dither::automatic},
    {"on", Dither::on},
    {"off", Dither::off},
}};

inline constexpr Cases<LVGLType, 3> objectTypes{{
    {"text", LVGLType::text},
    {"image", LVGLType::image},
    {"animation", LVGLType::animation},
}};

} // namespace tarnel::command
