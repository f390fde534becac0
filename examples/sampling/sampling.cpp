// Random and low-discrepancy points of the plane, side by side:
//
//     sampling [FILE.png]
//
// prints for each generator how far integrals over its first points are from the true values, and
// draws the first 512 points.

#include <base/init/inInitGuard.h>
#include <resmgt/random/rnHaltonMultiRng.h>
#include <resmgt/random/rnHammersleyMultiRng.h>
#include <resmgt/random/rnNiederreiterMultiRng.h>
#include <resmgt/random/rnScrambledMultiRng.h>
#include <resmgt/random/rnSeparableMultiRng.h>
#include <resmgt/random/rnXoshiroUniformRng.h>

#include <png.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Rng = Qv::RnMultiRng<double, 4>;

constexpr unsigned int SIZE = 200;
constexpr unsigned int NB_DRAWN = 512;
constexpr unsigned int NB_INTEGRATED = 4096;
constexpr unsigned int NB_DISCS = 64;

// The areas of quarters of discs: what pixels at the edges of shapes ask for. The root of the mean
// square of the errors of many, as one alone may be right by luck.
double errorOfAreas( Rng& rng ) {
    rng.restart();
    unsigned int nbInside[NB_DISCS] = {};
    for( unsigned int i = 0; i < NB_INTEGRATED; ++i ) {
        double point[4];
        rng.getSample( point );
        // Disc k has the radius ( k + 1 ) / NB_DISCS.
        const double smallest = std::hypot( point[0], point[1] ) * NB_DISCS;
        for( auto k = static_cast<unsigned int>( smallest ); k < NB_DISCS; ++k ) {
            ++nbInside[k];
        }
    }
    double sum = 0;
    for( unsigned int k = 0; k < NB_DISCS; ++k ) {
        const double radius = ( k + 1.0 ) / NB_DISCS;
        const double error =
            nbInside[k] / double( NB_INTEGRATED ) - std::numbers::pi / 4 * radius * radius;
        sum += error * error;
    }
    return std::sqrt( sum / NB_DISCS );
}

// Of a smooth function of all four dimensions, whose integral is 1.
double errorOfProduct( Rng& rng ) {
    rng.restart();
    double sum = 0;
    for( unsigned int i = 0; i < NB_INTEGRATED; ++i ) {
        double point[4];
        rng.getSample( point );
        double product = 1;
        for( const double x : point ) {
            product *= std::numbers::pi / 2 * std::sin( std::numbers::pi * x );
        }
        sum += product;
    }
    return std::abs( sum / NB_INTEGRATED - 1 );
}

// A square of grey bytes, white with the points in black.
void draw( Rng& rng, std::vector<unsigned char>& picture, unsigned int width, unsigned int left ) {
    rng.restart();
    for( unsigned int i = 0; i < NB_DRAWN; ++i ) {
        double point[4];
        rng.getSample( point );
        const auto x = static_cast<unsigned int>( point[0] * SIZE );
        const auto y = static_cast<unsigned int>( point[1] * SIZE );
        picture[std::size_t( y ) * width + left + x] = 0;
    }
}

void write( const std::string& file, const std::vector<unsigned char>& picture,
            unsigned int width ) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = SIZE;
    image.format = PNG_FORMAT_GRAY;
    if( png_image_write_to_file( &image, file.c_str(), 0, picture.data(), 0, nullptr ) == 0 ) {
        throw std::runtime_error( file + ": " + image.message );
    }
}

void run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    Qv::RnXoshiroUniformRng<double> uniform( 1 );
    Qv::RnSeparableMultiRng<double, 4> random( &uniform );
    Qv::RnHaltonMultiRng<double, 4> halton;
    Qv::RnHammersleyMultiRng<double, 4> hammersley( NB_INTEGRATED );
    Qv::RnHammersleyMultiRng<double, 4> fewHammersley( NB_DRAWN );
    Qv::RnNiederreiterMultiRng<double> niederreiter;
    Qv::RnScrambledMultiRng<double> scrambled( 1 );
    const struct {
        Rng* _integrated;
        Rng* _drawn;
    } panels[] = { { &random, &random },
                   { &halton, &halton },
                   { &hammersley, &fewHammersley },
                   { &niederreiter, &niederreiter },
                   { &scrambled, &scrambled } };

    // A column of grey between the squares.
    const unsigned int width = static_cast<unsigned int>( std::size( panels ) ) * ( SIZE + 1 ) - 1;
    std::vector<unsigned char> picture( std::size_t( width ) * SIZE, 255 );
    unsigned int left = 0;
    std::printf( "%-24s %12s %12s\n", "errors of", "areas", "product" );
    for( const auto& panel : panels ) {
        std::printf( "%-24s %12.6f %12.6f\n", panel._integrated->getName(),
                     errorOfAreas( *panel._integrated ), errorOfProduct( *panel._integrated ) );
        draw( *panel._drawn, picture, width, left );
        left += SIZE + 1;
        for( unsigned int y = 0; y < SIZE && left < width; ++y ) {
            picture[std::size_t( y ) * width + left - 1] = 128;
        }
    }
    const std::string file = argc > 1 ? argv[1] : "sampling.png";
    write( file, picture, width );
    std::printf( "The points are in %s\n", file.c_str() );
}

} // namespace

int main( int argc, char** argv ) {
    try {
        run( argc, argv );
        return 0;
    } catch( const std::exception& exception ) {
        std::fprintf( stderr, "sampling: %s\n", exception.what() );
        return 1;
    }
}
