#include <tools/qvcomp/failure.h>
#include <tools/qvcomp/fileIo.h>
#include <tools/qvcomp/scratchFile.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

/// Opens a file without a name; returns -1 and leaves errno when that isn't possible.
int openNameless( const std::string& folder ) {
    const int descriptor = ::open( folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 );
    if( descriptor >= 0 || ( errno != EOPNOTSUPP && errno != EISDIR ) ) {
        return descriptor;
    }
    // The file system has no nameless files: take the name away at once.
    std::string path = folder + "/.qvcomp.XXXXXX";
    const int named = ::mkostemp( path.data(), O_CLOEXEC );
    if( named >= 0 ) {
        ::unlink( path.c_str() );
    }
    return named;
}

} // namespace

ScratchFile::ScratchFile( const std::string& folder, std::size_t slotBytes )
    : _folder( folder )
    , _slotBytes( slotBytes )
    , _descriptor( openNameless( folder ) ) {
    if( _descriptor < 0 ) {
        throw Failure( "can't make a scratch file in '" + folder + "': " + std::strerror( errno ) );
    }
}

ScratchFile::~ScratchFile() {
    ::close( _descriptor );
}

std::size_t ScratchFile::takeSlot() {
    const std::lock_guard guard( _lock );
    if( _freeSlots.empty() ) {
        _freeSlots.reserve( _slots + 1 );
        return _slots++;
    }
    const std::size_t slot = _freeSlots.back();
    _freeSlots.pop_back();
    return slot;
}

void ScratchFile::giveSlotBack( std::size_t slot ) noexcept {
    const std::lock_guard guard( _lock );
    _freeSlots.push_back( slot );
}

void ScratchFile::write( std::size_t slot, const void* bytes ) {
    const int error = writeFully( _descriptor, bytes, _slotBytes, getOffset( slot ) );
    if( error != 0 ) {
        throw Failure( "can't write the scratch file in '" + _folder +
                       "': " + std::strerror( error ) );
    }
}

void ScratchFile::read( std::size_t slot, void* bytes ) {
    const int error = readFully( _descriptor, bytes, _slotBytes, getOffset( slot ) );
    if( error != 0 ) {
        throw Failure( "can't read the scratch file in '" + _folder +
                       "': " + std::strerror( error ) );
    }
}

} // namespace Qv::Comp
