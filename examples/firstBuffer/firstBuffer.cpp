// Sixteen tiles of 1 MiB in a memory of 4 MiB: each is written and read back, and those that have
// no place meanwhile wait in a media cache.

#include <mediaTiles/mediaTiles.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int TILE_SIZE = 1 << 20;
constexpr int MEMORY_SIZE = 4 * TILE_SIZE;
constexpr int NB_TILES = 16;

bool isFilledWith( const void* memory, char value ) {
    return std::memcmp( memory, std::string( TILE_SIZE, value ).data(), TILE_SIZE ) == 0;
}

int run( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );

    // Where tiles wait that memory has no room for, and what makes tiles.
    const char* const cache = argc > 1 ? argv[1] : "firstBuffer.cache";
    Qv::CtServer::configure( std::filesystem::absolute( cache ).string() );
    Qv::TiBufferFactory factory( MEMORY_SIZE );

    std::vector<Qv::MbBuffer> tiles;
    for( int i = 0; i < NB_TILES; ++i ) {
        tiles.push_back( factory.create( "tile", TILE_SIZE ) );
        // As long as the guard lives the memory is there, and stays where it is.
        const Qv::MbBufferWrGuardImp guard( tiles.back() );
        std::memset( guard.getMemory(), 'a' + i, TILE_SIZE );
    }

    int nbRight = 0;
    for( const Qv::MbBuffer& tile : tiles ) {
        const Qv::MbBufferRdGuardImp guard( tile );
        nbRight += isFilledWith( guard.getMemory(), static_cast<char>( 'a' + nbRight ) ) ? 1 : 0;
    }
    std::printf( "%d of %d tiles came back as they were, after %llu evictions\n", nbRight, NB_TILES,
                 static_cast<unsigned long long>( factory.getStore()->getCounts().nbEvictions ) );
    return nbRight == NB_TILES ? 0 : 1;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "firstBuffer: %s\n",
                      Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
