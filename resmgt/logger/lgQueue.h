#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/logger/lgStream.h>
#include <resmgt/logger/lgTypes.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace Qv {

struct LgQueueMemory;

/// A thread's log queue: a ring of entries beside the stream that holds their texts. The thread,
/// its owner, adds; the reader of all queues takes.
///
///     if( queue.reserveEntry( LgTypes::Warning ) ) {
///         queue.getStream() << "tile " << 7 << endString;
///         queue.addEntry();
///     }
///
/// Loss:     without room a statement is dropped and counted. An overflow entry stands for a run of
///           losses, with the stamp of the first.
/// Nesting:  a statement that begins while another of the same thread is being written, in an
///           operator or a signal handler, is dropped and counted.
/// Texts:    each entry has its own; what a statement wrote after `endString`, or without adding an
///           entry, is shown nowhere.
/// Memory:   taken and touched by the constructor, also with regard to forks: a fork doesn't make
///           the next statement wait for pages. With QV_LOG_TAIL it outlives the process (LgTail).
/// Lifetime: the owner calls `creatorExit` last; the reader destroys. An unread entry is counted
///           then, see `getNbUnread`.
/// Forks:    a child must not use its parent's queues; it may destroy them.
class QV_RESMGT_API LgQueue : public LgStream {
public:
    class Entry;
    class Observer;
    class SuppressGuard;

    /// Statements that a line still has to count.
    struct Losses {
        /// Lines that had no room.
        std::uint64_t nbLost = 0;
        /// Within other statements.
        std::uint64_t nbNested = 0;

        std::uint64_t getCount() const noexcept { return nbLost + nbNested; }
    };

    /// Powers of two.
    struct Sizes {
        /// Characters that can wait for the reader.
        std::uint32_t nbCharacters = LgStream::BufSize;
        /// Lines that can wait for the reader.
        std::uint32_t nbEntries = 1024;
    };

    LgQueue()
        : LgQueue( 0, nullptr ) {}
    /// `threadName` is copied; null is an empty name.
    LgQueue( unsigned long threadId, const char* threadName )
        : LgQueue( threadId, threadName, Sizes{} ) {}
    LgQueue( unsigned long threadId, const char* threadName, const Sizes& sizes );
    ~LgQueue();

    /// The owner's: begins a statement; false if it is dropped, in which case nothing may be
    /// written. Never raises.
    bool reserveEntry( LgTypes::Level level ) noexcept;
    LgStream& getStream() noexcept { return *this; }
    const LgStream& getStream() const noexcept { return *this; }
    /// The owner's: ends the statement and shows it to the reader. Without any text, and without a
    /// reservation, it has no effect.
    void addEntry();
    /// The owner's: waits for room for so many characters, as the observer does it.
    void waitForSpace( int nbCharacters );
    /// The owner's last: the reader may destroy the queue from here on.
    void creatorExit() noexcept;
    /// The same, where `queue` may be null.
    static void creatorExit( LgQueue* queue ) noexcept;
    /// Once, before others know the queue; a second time is the assertion "_observer.isNull()".
    OPtrRet<Observer> changeObserver( OPtr<Observer> observer );

    /// The reader's. That there is an entry is the assertion "_beg != _end" of the three.
    bool isEmpty() const noexcept;
    /// The first entry, which stays.
    const Entry& readEntry() const;
    /// The text of the first entry, which stays; `text` holds `getBufSize()` bytes. Returns the
    /// length; 0 for an overflow entry.
    std::size_t copyText( char* text ) const;
    /// With its text, whether that was read or not.
    void removeEntry();
    unsigned int getNbEntries() const noexcept;
    std::uint32_t getBufSize() const noexcept { return _sizes.nbCharacters; }
    /// The losses that a line for the first entry, an overflow entry, has to count, those included
    /// that came after the former line was written.
    Losses getOverflowLosses() const;
    /// The same in an idle pass, of those that no entry stands for. REQUIRES: the queue is empty.
    Losses getMissedLosses() const noexcept;
    /// They are on a line, and are reported no more. A process that is killed between the line and
    /// this leaves them in its memory too.
    void noteReported( const Losses& losses ) noexcept;
    /// Returns the count of `getOverflowLosses`, and notes those as reported.
    std::uint64_t takeOverflowCount();
    /// The same with `getMissedLosses`.
    std::uint64_t takeMissedCount() noexcept;
    bool hasMissed() const noexcept;
    /// The stamp of the statement that the owner is writing; `NOT_STAMPED` while it takes the
    /// stamp, `NO_STATEMENT` without one. Ask before `isEmpty`.
    std::uint64_t getStampBeingWritten() const noexcept;
    /// The owner isn't writing.
    static constexpr std::uint64_t NO_STATEMENT = 0;
    /// The owner is writing, and has no stamp yet.
    static constexpr std::uint64_t NOT_STAMPED = 1;

    const char* getThreadName() const noexcept { return _threadName.c_str(); }
    unsigned long getThreadId() const noexcept { return _threadId; }
    /// Ask before `isEmpty`: what the owner added is seen then.
    bool isCreatorAlive() const noexcept;

    /// For both sides: whether the entries leave no room for a statement.
    bool isFull() const noexcept;
    bool isOutputSuppressed() const noexcept;
    /// The greatest number of entries that a queue of the usual size ever holds.
    static constexpr unsigned int getMaxSize() noexcept { return Sizes{}.nbEntries - 1; }
    /// The entries and losses that all destroyed queues had not reported yet.
    static std::uint64_t getNbUnread() noexcept;

private:
    struct Home;
    LgQueue( unsigned long threadId, const char* threadName, const Sizes& sizes,
             std::unique_ptr<Home> home );

    bool isNearlyFull( std::uint32_t end ) noexcept;
    bool takeEntry( LgTypes::Level level ) noexcept;
    void countLoss( std::uint32_t end ) noexcept;
    Entry& entryAt( std::uint32_t index ) const noexcept;

    // Where the memory is, and its end.
    const std::unique_ptr<Home> _home;
    LgQueueMemory* const _memory;
    Entry* const _entries;
    const Sizes _sizes;
    const unsigned long _threadId;
    std::string _threadName;
    OPtr<Observer> _observer;
};

/// One record of the ring: a statement, or a run of lost ones.
class QV_RESMGT_API LgQueue::Entry {
public:
    Entry() noexcept = default;

    bool isOverflowEntry() const noexcept { return _oflow; }
    /// Turning into one sets the count to 1, turning back the level to Tracing; else no effect.
    void setOverflowEntry( bool isOverflow ) noexcept;
    /// The assertion of these two is "!_oflow", of the next two "_oflow".
    LgTypes::Level getLevel() const;
    void setLevel( LgTypes::Level level );
    std::uint32_t getOverflowCount() const;
    /// The count stays at its largest value.
    void incOverflowCount();
    /// In ticks of HwCounter.
    std::uint64_t getTimeStamp() const noexcept { return _timeStamp; }
    void setTimeStamp( std::uint64_t stamp ) noexcept { _timeStamp = stamp; }

private:
    friend class LgQueue;
    friend class LgTail;

    void increment() noexcept;

    bool _oflow = false;
    // The level or the count, which the owner raises after the entry is published too. A release,
    // after the queue's total: the reader never knows of more losses than that.
    std::atomic<std::uint32_t> _value{ 0 };
    std::uint64_t _timeStamp = 0;
    // A statement's place in the stream: the terminator ahead of its text. Of a run of losses: how
    // many statements the queue had lost before.
    std::uint64_t _place = 0;
};

/// Learns of the entries that come and go in a queue.
class QV_RESMGT_API LgQueue::Observer {
public:
    Observer() = default;
    Observer( const Observer& ) = delete;
    Observer& operator=( const Observer& ) = delete;
    virtual ~Observer();

    /// On the owner's thread; `index` is the entry's place in the ring.
    virtual void entryAdded( LgQueue& queue, unsigned int index ) = 0;
    /// On the reader's thread.
    virtual void entryRemoved( LgQueue& queue ) noexcept = 0;
    /// On the owner's thread; returns when there is room for so many characters, or when it is no
    /// use to wait.
    virtual void waitForSpace( LgQueue& queue, int nbCharacters ) = 0;
};

/// Suppresses, uncounted, what a thread logs in a scope. For the queue's owner.
class QV_RESMGT_API LgQueue::SuppressGuard {
public:
    explicit SuppressGuard( const LgQueue& queue ) noexcept;
    SuppressGuard( const SuppressGuard& ) = delete;
    SuppressGuard& operator=( const SuppressGuard& ) = delete;
    ~SuppressGuard();

private:
    const LgQueue& _queue;
};

} // namespace Qv
