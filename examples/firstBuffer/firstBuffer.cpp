// Sixteen tiles of 1 MiB in a memory of 4 MiB: each is written and read back, and those that have
// no place meanwhile are kept by their store.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/memoryBuffers/mbBufferRdGuardImp.h>
#include <resmgt/memoryBuffers/mbBufferSimpleFactory.h>
#include <resmgt/memoryBuffers/mbBufferWrGuardImp.h>
#include <resmgt/memoryBuffers/mbHeapManager.h>
#include <resmgt/memoryBuffers/mbProtocol.h>
#include <resmgt/memoryBuffers/mbStateMachine.h>
#include <resmgt/memoryBuffers/mbUnloadLRU.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

namespace {

constexpr int TILE_SIZE = 1 << 20;
constexpr int MEMORY_SIZE = 4 * TILE_SIZE;
constexpr int NB_TILES = 16;

// The tiles that left memory; an application writes them to disk.
class Store : public Qv::MbProtocol {
public:
    bool unload( void* memory, unsigned long long size ) override {
        _content.assign( static_cast<const char*>( memory ), size );
        ++nbUnloads;
        return true;
    }
    void reload( void* memory, unsigned long long size ) override {
        _content.copy( static_cast<char*>( memory ), size );
    }

    static inline int nbUnloads = 0;

private:
    std::string _content;
};

bool isFilledWith( const void* memory, char value ) {
    return std::memcmp( memory, std::string( TILE_SIZE, value ).data(), TILE_SIZE ) == 0;
}

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );

    // Who gives the memory, and who makes the buffers in it.
    const Qv::RCShdPtr<Qv::MbManager> manager( new Qv::MbHeapManager(
        "example", MEMORY_SIZE, Qv::OPtr<Qv::MbUnloadStrategy>( new Qv::MbUnloadLRU ) ) );
    Qv::MbBufferSimpleFactory factory(
        Qv::MbStateMachine::getInstance( Qv::MbStateMachine::UNTRACED, Qv::MbStateMachine::STRICT )
            .getInitialState(),
        manager );

    std::vector<Qv::MbBuffer> tiles;
    for( int i = 0; i < NB_TILES; ++i ) {
        tiles.push_back( factory.create( "tile", Qv::OPtr<Qv::MbProtocol>( new Store ), TILE_SIZE,
                                         Qv::MbAlignment( 127, 0, 0 ) ) );
        // As long as the guard lives the memory is there, and stays where it is.
        const Qv::MbBufferWrGuardImp guard( tiles.back() );
        std::memset( guard.getMemory(), 'a' + i, TILE_SIZE );
    }

    int nbRight = 0;
    for( const Qv::MbBuffer& tile : tiles ) {
        const Qv::MbBufferRdGuardImp guard( tile );
        nbRight += isFilledWith( guard.getMemory(), static_cast<char>( 'a' + nbRight ) ) ? 1 : 0;
    }
    std::printf( "%d of %d tiles came back as they were, after %d evictions\n", nbRight, NB_TILES,
                 Store::nbUnloads );
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
