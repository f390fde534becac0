#include <tools/qvcomp/placement.h>

#include <cmath>

namespace Qv::Comp {

namespace {

/// How the sides of a display window become those of the frame.
double getScale( Fit fit, double across, double down ) noexcept {
    switch( fit ) {
    case Fit::COVER:
        return std::max( across, down );
    case Fit::CONTAIN:
        return std::min( across, down );
    default:
        return 1.0;
    }
}

/// `displayBegin` counts from the first pixel of the line.
AxisPlacement placeAxis( int sourceSize, std::int64_t displayBegin, std::int64_t displaySize,
                         double scale, int frameSize, bool isCentred, int offset ) noexcept {
    const double margin =
        isCentred ? ( frameSize - static_cast<double>( displaySize ) * scale ) / 2.0 : 0.0;
    const double origin = margin - static_cast<double>( displayBegin ) * scale + offset;
    return { sourceSize, scale, scale == 1.0 ? std::floor( origin ) : origin };
}

} // namespace

Placement placeLayer( const LayerInfo& layer, const Scene& scene ) noexcept {
    // How much wider than high the layer's pixels are, where the frame's count as square.
    const double widening = layer.pixelAspect / scene.pixelAspect;
    const DisplayWindow& display = layer.display;
    const double scale =
        getScale( scene.fit, scene.width / ( static_cast<double>( display.width ) * widening ),
                  scene.height / static_cast<double>( display.height ) );
    const bool isCentred = scene.fit != Fit::NONE;
    return { placeAxis( layer.width, display.x, display.width, scale * widening, scene.width,
                        isCentred, layer.options.offsetX ),
             placeAxis( layer.height, display.y, display.height, scale, scene.height, isCentred,
                        layer.options.offsetY ) };
}

} // namespace Qv::Comp
