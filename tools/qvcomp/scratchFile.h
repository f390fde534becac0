#pragma once

#include <resmgt/osal/osMTFileWriter.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Qv::Comp {

/// One file without a name, cut into slots of equal size, that holds the tiles which memory has no
/// room for. It goes with the process however that ends.
///
/// Threads: all operations from any thread; each slot has one user at a time.
/// Errors:  Failure that names the folder and what the system said.
class ScratchFile {
public:
    ScratchFile( const OsFilePath& folder, std::size_t slotBytes );
    ScratchFile( const ScratchFile& ) = delete;
    ScratchFile& operator=( const ScratchFile& ) = delete;
    ~ScratchFile();

    /// A slot with undefined content.
    std::size_t takeSlot();
    void giveSlotBack( std::size_t slot ) noexcept;

    /// All of a slot at a time.
    void write( std::size_t slot, const void* bytes );
    void read( std::size_t slot, void* bytes );

private:
    long long getOffset( std::size_t slot ) const noexcept {
        return static_cast<long long>( slot * _slotBytes );
    }

    /// As text: a path fills a cache when it prints itself, which threads mustn't do at once.
    const std::string _folder;
    std::size_t _slotBytes;
    std::unique_ptr<OsMTFileWriter> _file;
    std::mutex _lock;
    /// Slots of the file that nobody has; room for all slots, so that giving back can't fail.
    std::vector<std::size_t> _freeSlots;
    std::size_t _slots = 0;
};

} // namespace Qv::Comp
