#include <tests/qvcomp/testImages.h>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfInputFile.h>
#include <ImfOutputFile.h>
#include <ImfTiledOutputFile.h>

namespace Qv::Comp {

namespace {

float TestPixel::*getMember( char channel ) {
    return channel == 'G'   ? &TestPixel::g
           : channel == 'B' ? &TestPixel::b
           : channel == 'A' ? &TestPixel::a
                            : &TestPixel::r;
}

std::string getName( char channel ) {
    return channel == 'r' ? "RY" : channel == 'b' ? "BY" : std::string( 1, channel );
}

Imf::FrameBuffer makeBuffer( std::vector<TestPixel>& pixels, const std::string& channels,
                             const Imath::Box2i& window ) {
    const std::int64_t width = window.max.x - window.min.x + 1;
    const std::int64_t height = window.max.y - window.min.y + 1;
    Imf::FrameBuffer buffer;
    for( const char channel : channels ) {
        buffer.insert(
            getName( channel ),
            Imf::Slice::Make( Imf::FLOAT, &( pixels[0].*getMember( channel ) ), window.min, width,
                              height, sizeof( TestPixel ),
                              sizeof( TestPixel ) * static_cast<std::size_t>( width ) ) );
    }
    return buffer;
}

} // namespace

void writeImage( const std::filesystem::path& path, const TestImage& image ) {
    std::vector<TestPixel> pixels;
    for( int y = 0; y < image.height; ++y ) {
        for( int x = 0; x < image.width; ++x ) {
            pixels.push_back( image.paint( x, y ) );
        }
    }
    const Imath::Box2i window(
        { image.originX, image.originY },
        { image.originX + image.width - 1, image.originY + image.height - 1 } );
    const auto& [left, top, displayWidth, displayHeight] = image.display;
    const Imath::Box2i display =
        displayWidth == 0
            ? window
            : Imath::Box2i( { left, top }, { left + displayWidth - 1, top + displayHeight - 1 } );
    Imf::Header header( display, window, image.pixelAspect );
    for( const char channel : image.channels ) {
        header.channels().insert( getName( channel ), Imf::Channel( Imf::FLOAT ) );
    }
    if( image.complete ) {
        image.complete( header );
    }
    const Imf::FrameBuffer buffer = makeBuffer( pixels, image.channels, window );
    if( image.tileWidth > 0 ) {
        const auto width = static_cast<unsigned>( image.tileWidth );
        header.setTileDescription( Imf::TileDescription( width, width / 2, Imf::ONE_LEVEL ) );
        Imf::TiledOutputFile file( path.c_str(), header );
        file.setFrameBuffer( buffer );
        file.writeTiles( 0, file.numXTiles() - 1, 0, file.numYTiles() - 1 );
    } else {
        Imf::OutputFile file( path.c_str(), header );
        file.setFrameBuffer( buffer );
        file.writePixels( image.height );
    }
}

std::vector<TestPixel> readImage( const std::filesystem::path& path ) {
    Imf::InputFile file( path.c_str() );
    const Imath::Box2i window = file.header().dataWindow();
    const auto width = static_cast<std::size_t>( window.max.x - window.min.x + 1 );
    const auto height = static_cast<std::size_t>( window.max.y - window.min.y + 1 );
    std::vector<TestPixel> pixels( width * height );
    file.setFrameBuffer( makeBuffer( pixels, "RGBA", window ) );
    file.readPixels( window.min.y, window.max.y );
    return pixels;
}

Imf::Header readHeader( const std::filesystem::path& path ) {
    return Imf::InputFile( path.c_str() ).header();
}

std::vector<std::string> writeLayers( const std::filesystem::path& folder ) {
    const auto paintLights = []( int x, int y ) {
        const float noise = static_cast<float>( ( x * 7919 + y * 104729 ) % 97 ) / 97.0F;
        const float lamp = x % 37 == 5 && y % 29 == 7 ? 400.0F : 0.0F;
        return TestPixel{ noise + lamp, 0.5F * noise + lamp, 1.0F - noise, 1.0F };
    };
    const auto paintDisc = []( int x, int y ) {
        const int square = ( x - 25 ) * ( x - 25 ) + ( y - 22 ) * ( y - 22 );
        const float alpha = square < 225 ? 0.75F : 0.0F;
        return TestPixel{ 3.0F * alpha, 0.25F * alpha, 0.125F * alpha, alpha };
    };
    const auto paintGrey = []( int x, int y ) {
        return TestPixel{ static_cast<float>( x + y ) / 35.0F, 0.0F, 0.0F, 0.0F };
    };
    const std::vector<std::string> paths{ folder / "lights.exr", folder / "disc.exr",
                                          folder / "grey.exr" };
    writeImage( paths[0], { 120, 70, "RGB", 0, -7, 12, paintLights } );
    writeImage( paths[1], { 50, 45, "RGBA", 16, 0, 0, paintDisc } );
    writeImage( paths[2], { 40, 30, "Y", 0, 0, 0, paintGrey } );
    return paths;
}

std::vector<TilePos> orderByRows( const TilePlane& plane ) {
    std::vector<TilePos> order;
    order.reserve( plane.getTileCount() );
    for( int row = 0; row < plane.getRows(); ++row ) {
        for( int column = 0; column < plane.getColumns(); ++column ) {
            order.push_back( { column, row } );
        }
    }
    return order;
}

} // namespace Qv::Comp
