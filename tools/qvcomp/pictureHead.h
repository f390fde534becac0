#pragma once

#include <ImfChromaticities.h>
#include <ImfHeader.h>
#include <ImfRational.h>
#include <ImfTimeCode.h>

#include <optional>
#include <string>

namespace Qv::Comp {

struct Scene;

/// What a layer's file says of its picture beside the pixels.
struct LayerHead {
    /// The display window's upper left corner.
    Imath::V2i corner{ 0, 0 };
    std::optional<Imf::Chromaticities> chromaticities;
    std::optional<Imf::Rational> frameRate;
    std::optional<Imf::TimeCode> timeCode;
};

LayerHead readLayerHead( const Imf::Header& header );

/// What the picture's file says beside the pixels.
struct PictureHead {
    Imath::Box2i display;
    /// Where the frame's first pixel lies.
    Imath::V2i corner{ 0, 0 };
    double pixelAspect = 1.0;
    LayerHead first;
};

/// Chromaticities, frame rate and time code are those of the first layer, as is the display window
/// where that layer isn't scaled: its corner is the frame's, and the frame may be larger or
/// smaller, unless the layer was to be fitted. Otherwise the frame is the display window.
PictureHead makePictureHead( const Scene& scene );

/// The header of a file of `width` by `height` pixels.
Imf::Header makeHeader( const PictureHead& head, int width, int height );

/// Whether they are the same up to the digits that files are made with. A file that names none has
/// those of Rec. ITU-R BT.709, as the format has it.
bool haveSameColours( const LayerHead& one, const LayerHead& other );

/// The chromaticities, as a person would write them.
std::string describeColours( const LayerHead& head );

} // namespace Qv::Comp
