#pragma once

#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctFileOptions.h>
#include <resmgt/content/ctNonAsyncServer.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstdint>
#include <memory>

namespace Qv {

class CtPieceSums;
class CtTileFile;
class CtTileFolder;
class SessionIndex;

/// The media cache: keeps each block in a file of its own, in a directory that may be shared by
/// several processes and outlives them. docs/content.md describes the directory byte by byte.
///
/// Configuration: the absolute path of the directory. Its factory makes a missing one, for the user
///            and the group; the directory above must exist.
/// Settings:  QV_UNBUFFERED_IO, QV_IO_BLOCKSIZE, QV_IO_ALIGNMENT, QV_IO_LEVELS, QV_IO_BITS,
///            QV_IO_MAX_BYTES and QV_IO_VERIFY, read when a server is made. Levels outside of 0 to
///            4, bits outside of 0 to 12, a block size of 0 and an alignment that is no power of
///            two are assertions.
/// Ids:       session number and counter, see `getSession`. No id is given twice, not even after
///            the death of a process or a power loss. Where the file `.session_idx` is frozen, was
///            lost or can't be written, and in a directory that isn't the first of its process, ids
///            may come again, but never one whose file exists.
/// Hints:     open files. A block that is removed meanwhile stays readable through its hint; the
///            next write makes its file anew, which reads as zeros where nothing was written.
/// Links:     a link, pipe or directory in the place of a block's file, or a link in the place of a
///            level's directory, is no block: it is neither opened, followed nor replaced.
/// Buffered:  transfers move exactly the piece's bytes, at any offset and memory address.
/// Unbuffered: a piece begins at a multiple of `getBlockSize`, its memory at one of `getAlignment`,
///            and it ends at a multiple too or in the file's last block. Of that no byte behind the
///            piece's memory is touched: it goes through a block of the server's own, and the rest
///            of the file's block becomes zeros. What is off is refused before a byte moves.
/// Threads:   as CtServer.
/// Death:     of the process leaves blocks, the index, level directories and maybe a probe; writes
///            that had completed are whole. The blocks stay until somebody removes them, see
///            CtCacheDirectory.
/// Errors:    ExSysErrorWindows with operation and path for a failed system call; besides those
///            below.
class QV_RESMGT_API CtFileServer : public CtNonAsyncServer {
public:
    /// Probes the volume and takes a session number. If the number can't be kept in `.session_idx`,
    /// that is a message to the user, and the work goes on.
    explicit CtFileServer( const LiString& configuration,
                           const CtEngineOptions& options = CtEngineOptions::getConfigured(),
                           const CtFileOptions& files = CtFileOptions::getConfigured() );
    ~CtFileServer() noexcept( false ) override;

    /// The high half of the ids that are given out now. All servers of a process share one; `clear`
    /// begins another.
    std::uint32_t getSession() const noexcept;
    /// Whether transfers bypass the system's file cache.
    bool isUnbuffered() const noexcept { return _unbufferedIO; }

    std::uint64_t getFreeSpace() const override;
    unsigned int getBlockSize() const override { return _blockSize; }
    unsigned int getAlignment() const override { return _alignment; }
    unsigned int getNbSerialIds() const override;
    /// The files in a flat directory whose names are digits, "-", digits; the server's own names
    /// are padded to 10 digits each. Asserts "_nbLevels == 0", "highId <= UINT32_MAX", "lowId <=
    /// UINT32_MAX", and that no two names are one id, as are `12-34` and its padded form.
    OPtrRet<Set<CtSerialId>> getSerialIds() const override;
    /// Makes the file and takes its space, the size rounded up to whole units. The hint is null.
    ///
    /// Errors: CtEx::ExNotEnoughSpace with the reason when the file can't be made or its space
    ///         can't be reserved, QV_IO_MAX_BYTES is reached, or the session has given out its last
    ///         number. No file is left then.
    NewTile createTile( unsigned int size ) override;
    /// A block that others have removed raises, and counts no more for QV_IO_MAX_BYTES.
    void removeTile( const CtSerialId& id ) override;
    /// Whether there is a file, and as long as the space that `createTile` takes for the size.
    bool isValid( const CtStTileId& tile, int mode ) const override;
    /// Deletes what any cache makes in its directory, blocks, level directories and probes, also
    /// those of other sessions and layouts, and begins a new session. Foreign entries stay, and
    /// maybe those that other processes make meanwhile.
    void clear() override;

protected:
    /// Errors: OsFileEx::ExInvalidPath with "CtFileServer::makeReadHint" where there is no block.
    CtHintPtr makeReadHint( const CtPxTileId& tile, const CtHintPtr& hint ) override;
    /// Makes the file, without its space, where there is none.
    CtHintPtr makeWriteHint( const CtPxTileId& tile, const CtHintPtr& hint ) override;
    /// Errors, also of `writeImp`: CtEx::ExSeekFailed for an unbuffered piece at an offset that is
    ///         off, ExSysErrorGeneric for one that is off otherwise; ExSysErrorANSI for a file that
    ///         ends before the piece, or takes less than that. With QV_IO_VERIFY,
    ///         CtEx::ExContentDiffers.
    void readImp( const CtPxTileId& tile, void* memory, const CtHintPtr& hint ) override;
    void writeImp( const CtPxTileId& tile, const void* memory, const CtHintPtr& hint ) override;

private:
    class FileHint;
    template <class Transfers>
    class TransferHint;
    class ReadHint;
    class WriteHint;
    struct Cut;

    void initialize( const CtFileOptions& files );
    OsFileTypes::UnbufferedInfo probe() const;
    void applyOptions( const CtFileOptions& files, const OsFileTypes::UnbufferedInfo& volume );
    std::uint64_t roundUp( unsigned int size ) const noexcept;
    bool tryCreate( const CtSerialId& id, std::uint64_t size ) const;
    bool tryMakeFile( const CtSerialId& id, std::uint64_t size ) const;
    void forget( const CtSerialId& id );
    Cut cut( const CtPxTileId& tile, const void* memory, const FileHint& file,
             CtEx::Direction direction ) const;
    template <class Move>
    void moveInChunks( std::uint64_t size, const Move& move ) const;
    template <class Hint>
    CtHintPtr makeHint( const CtSerialId& id, CtTileFile file ) const;

    bool _unbufferedIO = false;
    std::uint32_t _alignment = 1;
    std::uint32_t _blockSize = 1;
    std::uint32_t _nbBlocksPerChunk = 1;
    /// What the volume's unbuffered transfers ask for, whatever the settings say.
    std::uint32_t _sectorSize = 1;
    const OsFilePath _root;
    std::int32_t _nbLevels = 0;
    std::int32_t _nbBits = 0;
    std::uint64_t _levelMask = 0;
    /// Distinguishes its hints from those of other servers.
    const std::uint64_t _number;
    std::unique_ptr<const CtTileFolder> _folder;
    std::shared_ptr<SessionIndex> _session;
    /// Null unless QV_IO_VERIFY asks for them.
    std::unique_ptr<CtPieceSums> _sums;
};

} // namespace Qv
