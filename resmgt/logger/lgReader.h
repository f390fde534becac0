#pragma once

#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace Qv {

class LgQueue;

/// Merges all queues by time stamp and hands each entry to LgLog's output.
///
/// Order:   among what is published when it looks; on equal stamps the queue that was registered
///          first comes first.
/// Loss:    a line "Event overflow [n]" counts lost statements. Losses that came too late for the
///          line of their run are counted by the next one of the queue, or once all queues are
///          empty.
/// Reaping: a queue whose owner has ended is destroyed once it is empty and its losses are counted.
/// Threads: one thread reads at a time; `setCrashTime` is for any.
/// Errors:  what an output raises goes on to the caller, and the entry counts as handled. Without
///          memory for a line its entry stays.
class QV_RESMGT_API LgReader {
public:
    LgReader();
    LgReader( const LgReader& ) = delete;
    LgReader& operator=( const LgReader& ) = delete;
    ~LgReader();

    /// From now on nothing that is stamped later is flushed. Only the first call has an effect.
    void setCrashTime();
    /// Whether a queue has an entry that isn't output yet.
    bool eventsPending();
    /// Outputs the earliest entry. False if there is none, or if it is later than the crash.
    bool flushEarliest();
    /// All, until `flushEarliest` answers false.
    void flushAll();
    /// Whether a statement that isn't later than the crash was being written when the last
    /// `flushEarliest` looked. The reader's.
    bool isAwaitingStatement() const noexcept;

private:
    /// A queue, and the stamp of its first entry, which stays the first until it is removed; NONE
    /// for a queue that was empty at the last look.
    struct Source {
        LgQueue* queue;
        std::uint64_t firstStamp;
    };

    void updateSources();
    Source* findEarliest();
    bool lookAt( Source& source );
    void destroyQueue( LgQueue& queue );
    void flushQueue( Source& source, std::uint64_t now );
    void outputText( Source& source, std::uint64_t now );
    void flushMissed( LgQueue& queue );

    // 0 without a crash. Written once, by the thread that crashes; relaxed, since the reader is
    // joined afterwards, and what it does meanwhile may go either way.
    std::atomic<std::uint64_t> _crashTime{ 0 };
    // A copy of the list of the registry with that version.
    std::vector<Source> _sources;
    unsigned long long _version = 0;
    // Of the statements that were being written during the last pass, in queues that were empty.
    std::uint64_t _earliestWritten = 0;
    // Those of the line at work.
    std::string _prefix;
    std::vector<char> _text;
};

} // namespace Qv
