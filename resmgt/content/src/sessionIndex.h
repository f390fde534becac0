#pragma once

#include <base/locks/lkLock.h>
#include <resmgt/content/ctSerialId.h>
#include <resmgt/content/src/ctSessionFile.h>
#include <resmgt/content/src/ctSpaceBudget.h>
#include <resmgt/osal/osFilePath.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace Qv {

/// The session of this process: its number, and the last block that it has given an id.
///
/// The number comes from `.session_idx` of the directory with which the record was built, and is
/// written back, synced, before there is a block; a process that dies leaves its blocks under a
/// number that nobody gets again. It is marked as living in every directory in which a server of
/// this process keeps blocks.
///
/// Lifetime: there is one at a time, from the first server's start to the last one's end.
/// Threads:  any.
/// Lost:     where the index is missing or isn't a number, the record counts on from its own, and
///           a new one from 0.
/// Errors:   an index that can't be read or written is a message to the user, and no failure.
class SessionIndex {
public:
    /// How long others may hold the index, or a claim on a dead session, before this goes on
    /// without; in seconds.
    static constexpr double LONGEST_WAIT = 5.0;

    /// The process's record. It is built by the first call, for the cache in `directory`, and may
    /// reserve `mostBytes` of space; later calls mark its sessions in their directory.
    static std::shared_ptr<SessionIndex> share( const OsFilePath& directory,
                                                std::uint64_t mostBytes );

    SessionIndex( const OsFilePath& directory, std::uint64_t mostBytes );

    /// The next id; raises what `getNextId` does.
    CtSerialId takeId();
    /// The id behind `last`. Raises CtEx::ExNotEnoughSpace behind the last one of its session.
    static CtSerialId getNextId( std::uint64_t last );
    /// Begins a new session.
    void refresh();

    std::uint32_t getSession() const noexcept;
    CtSpaceBudget& getBudget() noexcept { return _budget; }

private:
    void join( const OsFilePath& directory );
    bool renew();
    bool advance( CtSessionFile& index, CtSessionFile::Locking locking ) QV_REQUIRES( _lock );
    std::optional<std::uint64_t> getLast( std::optional<std::uint64_t> stored ) const
        QV_REQUIRES( _lock );
    void begin( std::uint32_t session );
    void mark( CtSessionFile& file ) const QV_REQUIRES( _lock );
    void announceFailure() const;

    const OsFilePath _directory;
    const LkLock _lock{ "ct-session" };
    /// The session in the high half, the counter in the low one, so that both change at once. An id
    /// orders nothing else: relaxed.
    std::atomic<std::uint64_t> _last{ 0 };
    CtSpaceBudget _budget;
    /// Of the directory first, then of others; open for their marks. Former sessions keep theirs in
    /// other directories, which `clear` of this one leaves alone.
    std::vector<CtSessionFile> _files QV_GUARDED_BY( _lock );
    /// Whether the first number was kept.
    const bool _isKept;
};

} // namespace Qv
