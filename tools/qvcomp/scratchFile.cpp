#include <tools/qvcomp/scratchFile.h>

#include <tools/qvcomp/descriptor.h>
#include <tools/qvcomp/failure.h>

#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>

#include <fcntl.h>

namespace Qv::Comp {

namespace {

const OsFileTypes::Permissions PRIVATE( 3, 0, 0 );

/// A file that never has a name. Null where the system or the volume has no such files.
std::unique_ptr<OsMTFileWriter> openNameless( const OsFilePath& folder ) {
    const Descriptor descriptor(
        ::open( folder.getChars(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600 ) );
    const OsFilePath self( "/proc/self/fd/" + std::to_string( descriptor.get() ) );
    if( !descriptor.isOpen() || !OsFsUtils::isFile( self ) ) {
        return nullptr;
    }
    return std::make_unique<OsMTFileWriter>( self, PRIVATE, false, false );
}

/// A file whose name goes at once; it stays until it is closed.
std::unique_ptr<OsMTFileWriter> openUnnamed( const OsFilePath& folder ) {
    const OsFilePath path = OsFileUtils::createUniqueFileName( folder, ".qvcomp.", nullptr );
    auto file = std::make_unique<OsMTFileWriter>( path, PRIVATE, true, false );
    OsFsUtils::deleteFile( path );
    return file;
}

} // namespace

ScratchFile::ScratchFile( const OsFilePath& folder, std::size_t slotBytes )
    : _folder( folder.toString() )
    , _slotBytes( slotBytes ) {
    try {
        _file = openNameless( folder );
        if( !_file ) {
            _file = openUnnamed( folder );
        }
    } catch( const ExBase& e ) {
        throw Failure( Tag::SCRATCH_MAKE, _folder, getSystemText( e ) );
    }
}

ScratchFile::~ScratchFile() = default;

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
    try {
        _file->write( bytes, getOffset( slot ), _slotBytes );
    } catch( const ExBase& e ) {
        throw Failure( Tag::SCRATCH_WRITE, _folder, getSystemText( e ) );
    }
}

void ScratchFile::read( std::size_t slot, void* bytes ) {
    unsigned long long size = 0;
    try {
        size = _file->read( bytes, getOffset( slot ), _slotBytes );
    } catch( const ExBase& e ) {
        throw Failure( Tag::SCRATCH_READ, _folder, getSystemText( e ) );
    }
    if( size != _slotBytes ) {
        throw Failure( Tag::SCRATCH_ENDS, _folder );
    }
}

} // namespace Qv::Comp
