#include <tools/qvcomp/pictureHead.h>

#include <tools/qvcomp/placement.h>

#include <ImfStandardAttributes.h>

#include <array>
#include <cmath>
#include <cstdio>

namespace Qv::Comp {

namespace {

/// OpenEXR takes windows whose edges are half of this apart from the largest numbers.
constexpr std::int64_t LARGEST_EDGE = std::int64_t{ 1 } << 29;

struct NamedPoint {
    const char* name;
    Imath::V2f Imf::Chromaticities::*point;
};

constexpr std::array<NamedPoint, 4> POINTS{ { { "red", &Imf::Chromaticities::red },
                                              { "green", &Imf::Chromaticities::green },
                                              { "blue", &Imf::Chromaticities::blue },
                                              { "white", &Imf::Chromaticities::white } } };

bool isNear( const Imath::V2f& one, const Imath::V2f& other ) {
    constexpr float TOLERANCE = 5e-4F;
    return std::abs( one.x - other.x ) <= TOLERANCE && std::abs( one.y - other.y ) <= TOLERANCE;
}

Imath::Box2i makeWindow( const Imath::V2i& corner, std::int64_t width, std::int64_t height ) {
    return {
        corner,
        { corner.x + static_cast<int>( width ) - 1, corner.y + static_cast<int>( height ) - 1 } };
}

/// Whether the layer's display window is one of the picture, too.
bool isDisplayKept( const LayerInfo& layer, const Scene& scene ) {
    const DisplayWindow& display = layer.display;
    const Imath::V2i& corner = layer.head.corner;
    const auto isInside = [&]( std::int64_t begin, std::int64_t size ) {
        return begin > -LARGEST_EDGE && begin + size < LARGEST_EDGE;
    };
    return placeLayer( layer, scene ).isUntouched() &&
           ( scene.fit == Fit::NONE ||
             ( display.width == scene.width && display.height == scene.height ) ) &&
           isInside( corner.x, std::max<std::int64_t>( display.width, scene.width ) ) &&
           isInside( corner.y, std::max<std::int64_t>( display.height, scene.height ) );
}

} // namespace

LayerHead readLayerHead( const Imf::Header& header ) {
    LayerHead head;
    head.corner = header.displayWindow().min;
    if( Imf::hasChromaticities( header ) ) {
        head.chromaticities = Imf::chromaticities( header );
    }
    if( Imf::hasFramesPerSecond( header ) ) {
        head.frameRate = Imf::framesPerSecond( header );
    }
    if( Imf::hasTimeCode( header ) ) {
        head.timeCode = Imf::timeCode( header );
    }
    return head;
}

PictureHead makePictureHead( const Scene& scene ) {
    const LayerInfo& layer = scene.layers.front();
    PictureHead head{ makeWindow( { 0, 0 }, scene.width, scene.height ),
                      { 0, 0 },
                      scene.pixelAspect,
                      layer.head };
    if( isDisplayKept( layer, scene ) ) {
        head.corner = layer.head.corner;
        head.display = makeWindow( head.corner, layer.display.width, layer.display.height );
    }
    return head;
}

Imf::Header makeHeader( const PictureHead& head, int width, int height ) {
    Imf::Header header( head.display, makeWindow( head.corner, width, height ),
                        static_cast<float>( head.pixelAspect ) );
    if( head.first.chromaticities ) {
        Imf::addChromaticities( header, *head.first.chromaticities );
    }
    if( head.first.frameRate ) {
        Imf::addFramesPerSecond( header, *head.first.frameRate );
    }
    if( head.first.timeCode ) {
        Imf::addTimeCode( header, *head.first.timeCode );
    }
    return header;
}

bool haveSameColours( const LayerHead& one, const LayerHead& other ) {
    const Imf::Chromaticities first = one.chromaticities.value_or( Imf::Chromaticities() );
    const Imf::Chromaticities second = other.chromaticities.value_or( Imf::Chromaticities() );
    return std::ranges::all_of( POINTS, [&]( const NamedPoint& named ) {
        return isNear( first.*named.point, second.*named.point );
    } );
}

std::string describeColours( const LayerHead& head ) {
    if( !head.chromaticities ) {
        return "none, which stands for those of Rec. 709";
    }
    std::string text;
    for( const NamedPoint& named : POINTS ) {
        const Imath::V2f& point = *head.chromaticities.*named.point;
        char part[80];
        std::snprintf( part, sizeof part, "%s %.4g %.4g", named.name,
                       static_cast<double>( point.x ), static_cast<double>( point.y ) );
        text += ( text.empty() ? "" : ", " ) + std::string( part );
    }
    return text;
}

} // namespace Qv::Comp
