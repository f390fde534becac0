#include <resmgt/logger/src/lgQueueMemory.h>

#include <resmgt/logger/src/lgTailFile.h>

#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Qv {

namespace {

/// Pages that are there already, and that a forked child doesn't get: it finds zeros, and the
/// parent doesn't have to copy them with its next store.
void* mapPrivate( std::size_t size ) {
    void* const memory = ::mmap( nullptr, size, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0 );
    if( memory == MAP_FAILED ) {
        throw std::bad_alloc();
    }
    static_cast<void>( ::madvise( memory, size, MADV_WIPEONFORK ) );
    return memory;
}

/// Null where it can't be had.
void* mapFile( int file, std::size_t size ) noexcept {
    // All of it now: a full file system would end the process at a later store.
    int error = EINTR;
    while( error == EINTR ) {
        error = ::posix_fallocate( file, 0, static_cast<off_t>( size ) );
    }
    if( error != 0 ) {
        return nullptr;
    }
    void* const memory =
        ::mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, file, 0 );
    if( memory == MAP_FAILED ) {
        return nullptr;
    }
    // A child has no business there.
    static_cast<void>( ::madvise( memory, size, MADV_DONTFORK ) );
    return memory;
}

} // namespace

LgQueueMemory::Place LgQueueMemory::create( const LgQueue::Sizes& sizes, bool isKept ) {
    Place place;
    place.size = getSize( sizes );
    place.process = ::getpid();
    void* memory = nullptr;
    if( isKept ) {
        [[maybe_unused]] static const bool isTidy = ( LgTailFile::removeOld(), true );
        place.file = LgTailFile::create( place.name );
        memory = place.file >= 0 ? mapFile( place.file, place.size ) : nullptr;
        if( memory == nullptr ) {
            LgTailFile::remove( place.file, place.name );
            place.file = -1;
        }
    }
    if( memory == nullptr ) {
        memory = mapPrivate( place.size );
    }
    place.memory = new( memory ) LgQueueMemory;
    for( std::uint32_t i = 0; i < sizes.nbEntries; ++i ) {
        new( place.memory->getEntries() + i ) LgQueue::Entry;
    }
    std::memset( place.memory->getBuffer( sizes.nbEntries ), 0, sizes.nbCharacters );
    place.memory->head.process = static_cast<std::uint64_t>( place.process );
    return place;
}

void LgQueueMemory::destroy( const Place& place ) noexcept {
    const bool isOwn = isOfThisProcess( place );
    // A child has no mapping of a file.
    if( isOwn || place.file < 0 ) {
        static_cast<void>( ::munmap( place.memory, place.size ) );
    }
    if( place.file >= 0 ) {
        if( isOwn ) {
            LgTailFile::remove( place.file, place.name );
        } else {
            static_cast<void>( ::close( place.file ) );
        }
    }
}

bool LgQueueMemory::isOfThisProcess( const Place& place ) noexcept {
    return place.process == ::getpid();
}

} // namespace Qv
