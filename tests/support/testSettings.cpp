#include <tests/support/testSettings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace Qv {

namespace {

#if defined( QV_SANITIZE_THREAD )
constexpr double WORK_SHARE = 0.1;
constexpr double SLOWDOWN = 4.0;
#elif defined( QV_SANITIZE_ADDRESS )
constexpr double WORK_SHARE = 0.2;
constexpr double SLOWDOWN = 2.0;
#else
constexpr double WORK_SHARE = 1.0;
constexpr double SLOWDOWN = 1.0;
#endif

[[noreturn]] void refuse( const char* variable, const char* text, const char* wanted ) {
    std::fprintf( stderr, "%s is '%s': it takes %s\n", variable, text, wanted );
    std::_Exit( 2 );
}

double readScale() {
    const char* const text = std::getenv( "QV_TEST_SCALE" );
    if( !text ) {
        return 1.0;
    }
    char* end = nullptr;
    const double scale = std::strtod( text, &end );
    if( end == text || *end != '\0' || !( scale > 0.0 && scale <= 1.0e6 ) ) {
        refuse( "QV_TEST_SCALE", text, "a number above 0, such as 10 or 0.1" );
    }
    return scale;
}

double environmentScale() {
    static const double scale = readScale();
    return scale;
}

std::uint64_t chooseSeed() {
    std::uint64_t seed = 0;
    if( const char* const text = std::getenv( "QV_TEST_SEED" ) ) {
        char* end = nullptr;
        seed = std::strtoull( text, &end, 10 );
        if( end == text || *end != '\0' ) {
            refuse( "QV_TEST_SEED", text, "a whole number" );
        }
    } else {
        std::random_device source;
        seed = ( std::uint64_t( source() ) << 32 ) | source();
    }
    std::printf( "QV_TEST_SEED=%llu\n", static_cast<unsigned long long>( seed ) );
    std::fflush( stdout );
    return seed;
}

} // namespace

std::uint64_t testSeed() {
    static const std::uint64_t seed = chooseSeed();
    return seed;
}

long scaledCount( long count ) {
    const double scaled = static_cast<double>( count ) * environmentScale() * WORK_SHARE;
    return std::max( 1L, static_cast<long>( scaled ) );
}

double testSlowdown() {
    return SLOWDOWN * std::max( 1.0, environmentScale() );
}

} // namespace Qv
