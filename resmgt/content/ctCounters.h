#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>

namespace Qv {

/// Counts of what a content server has done since it was made.
struct QV_RESMGT_API CtCounters {
    /// Transfers that have succeeded, and their bytes.
    std::uint64_t nbReads = 0;
    /// Tiles written.
    std::uint64_t nbWrites = 0;
    /// Bytes of the tiles read.
    std::uint64_t nbBytesRead = 0;
    /// Bytes of the tiles written.
    std::uint64_t nbBytesWritten = 0;
    /// Of the transfers, failed ones included, those that were asked for by `asyncRead` and
    /// `asyncWrite`.
    std::uint64_t nbAsync = 0;
    /// Transfers that have failed, and completions that have raised.
    std::uint64_t nbFailures = 0;
    /// How often a synchronous request had to wait for its turn. Waits for room in a queue are the
    /// queue's to count.
    std::uint64_t nbWaits = 0;
    /// Files, or what else a store keeps open through hints, just now.
    std::uint64_t nbOpenFiles = 0;
};

/// Writes all of it on one line, without its end.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const CtCounters& counters );

/// The counters of one server, shared with its hints.
///
/// Threads: any. A reader may see one request's counters changed only in part.
/// Order:   relaxed throughout: the numbers order nothing.
class QV_RESMGT_API CtTally : public RCBase<LkCounter<int>> {
public:
    class OpenFile;

    CtTally();
    ~CtTally() override;

    /// Counts a tile of `size` bytes that was read.
    void countRead( unsigned int size ) noexcept { count( _nbReads, _nbBytesRead, size ); }
    /// Counts a tile of `size` bytes that was written.
    void countWrite( unsigned int size ) noexcept { count( _nbWrites, _nbBytesWritten, size ); }
    /// Counts an asynchronous operation.
    void countAsync() noexcept { add( _nbAsync, 1 ); }
    /// Counts an operation that failed.
    void countFailure() noexcept { add( _nbFailures, 1 ); }
    /// Counts an operation that had to wait.
    void countWait() noexcept { add( _nbWaits, 1 ); }

    CtCounters getCounters() const noexcept;

private:
    using Counter = std::atomic<std::uint64_t>;

    static void add( Counter& counter, std::uint64_t number ) noexcept {
        counter.fetch_add( number, std::memory_order_relaxed );
    }
    static void count( Counter& requests, Counter& bytes, unsigned int size ) noexcept {
        add( requests, 1 );
        add( bytes, size );
    }

    Counter _nbReads{ 0 };
    Counter _nbWrites{ 0 };
    Counter _nbBytesRead{ 0 };
    Counter _nbBytesWritten{ 0 };
    Counter _nbAsync{ 0 };
    Counter _nbFailures{ 0 };
    Counter _nbWaits{ 0 };
    Counter _nbOpenFiles{ 0 };
};

/// Counts an open file while it lives.
class QV_RESMGT_API CtTally::OpenFile {
public:
    explicit OpenFile( const RCShdPtr<CtTally>& tally ) noexcept
        : _tally( tally ) {
        add( _tally->_nbOpenFiles, 1 );
    }
    OpenFile( const OpenFile& ) = delete;
    OpenFile& operator=( const OpenFile& ) = delete;
    ~OpenFile() { _tally->_nbOpenFiles.fetch_sub( 1, std::memory_order_relaxed ); }

private:
    const RCShdPtr<CtTally> _tally;
};

} // namespace Qv
