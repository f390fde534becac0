#pragma once

#include <tools/qvcomp/tileStore.h>

#include <ImfHeader.h>

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Qv::Comp {

/// A pixel of a test image: red, green, blue, alpha.
struct TestPixel {
    float r;
    float g;
    float b;
    float a;
};

/// An OpenEXR image to be made. `channels` are letters such as "RGBA" or "Y"; "r" and "b" stand for
/// the channels RY and BY.
struct TestImage {
    int width = 40;
    int height = 30;
    std::string channels = "RGB";
    /// Of its tiles, which are half as high; 0 for scan lines.
    int tileWidth = 0;
    /// Where the data window begins.
    int originX = 0;
    int originY = 0;
    /// Colours of the pixel `x`, `y`, counted from the image's corner.
    std::function<TestPixel( int x, int y )> paint;
    /// Corner and size of the display window; that of the data window without a size.
    std::array<int, 4> display{};
    float pixelAspect = 1.0F;
    /// Adds what else the head has.
    std::function<void( Imf::Header& )> complete{};
};

/// Writes 32-bit float channels.
void writeImage( const std::filesystem::path& path, const TestImage& image );

/// The pixels of an image with the channels R, G, B and A, line by line.
std::vector<TestPixel> readImage( const std::filesystem::path& path );

Imf::Header readHeader( const std::filesystem::path& path );

/// Three layers of different kinds and sizes, bottom first: photograph-like noise with lights, one
/// with alpha in tiles, a grey one.
std::vector<std::string> writeLayers( const std::filesystem::path& folder );

/// All tiles of `plane`, row by row.
std::vector<TilePos> orderByRows( const TilePlane& plane );

} // namespace Qv::Comp
