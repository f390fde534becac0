#pragma once

#include <resmgt/logger/lgQueue.h>
#include <resmgt/logger/src/lgTailFile.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

/// What a queue's owner and its reader share.
///
/// Places and indices count on without end, and wrap only where memory is accessed: a difference of
/// two is a number of bytes or entries, and full and empty differ.
///
/// Stream, with N bytes; S is the terminator of the text that was read last:
///   1. beg <= lastEnd < end, or beg <= lastEnd == end while the terminator at `end` waits for the
///      owner to step over it ("pending"), which it does with the next piece.
///   2. end - beg <= N - 1: the owner never writes the byte at beg (S), nor one behind it that the
///      reader may still read.
///   3. Bytes from beg to lastEnd are complete texts, each with its terminator; the owner doesn't
///      write there. A pending terminator is one of these, and isn't stored a second time.
/// Ring, with M entries:
///   4. end - beg <= M - 1, and entry M - 1 is always an overflow entry: a statement is only taken
///      while two more fit. So where a statement doesn't fit, either the entry before `end` is an
///      overflow entry, or there is room for one.
///   5. An entry from beg up to end belongs to the reader, but for its count.
///   6. The text of a statement's entry begins after the terminator at its place; places of
///      successive entries rise. What lies between two such texts belongs to no entry.
/// Losses:
///   7. nbLost counts all losses, each before an entry's count shows it. An overflow entry's place
///      and count add up to nbLost as it was at the last loss that the entry stands for. nbTold, of
///      the reader, is the greatest value of either whose line is written. The difference is
///      still to be reported, by the next line or the next idle pass: a run that goes on
///      while its entry is being removed isn't forgotten, and nothing is reported twice.
///   8. nbNested counts statements within others. They have no entry, and wait for an idle pass.
///
/// Order. Each variable has one writer. An owner's store to the ring's `end` is a release, paired
/// with the reader's acquire: the entry and its text are complete for whoever sees the index. The
/// same pair for the stream's `lastEnd`, for streams that are used by themselves. A reader's store
/// to either `beg` is a release, paired with the owner's acquire: the reader has finished with what
/// lies before. A side reads its own variables relaxed. Either side may be behind the other's
/// index, by which the owner sees less room and the reader fewer entries. The owner keeps the
/// reader's `beg` of its last look, and looks again when that leaves no room, so that the reader's
/// line travels rarely.
///
/// Signals: a handler on the owner's thread finds the statement being written by `stamp`, which is
/// set first and cleared last.
///
/// Whoever reads the memory of a dead process finds it as it was at some moment: published entries
/// and their texts are complete, and an entry whose text lies behind the stream's beg was handled.
namespace Qv {

struct LgStreamOwner {
    std::atomic<std::uint32_t> end{ 1 };
    std::atomic<std::uint32_t> lastEnd{ 0 };
    // Compared with the reader's nbOverflowsSeen; relaxed, a hint.
    std::atomic<std::uint32_t> nbOverflows{ 0 };
    // The owner's alone.
    std::uint32_t begSeen = 0;
    unsigned int outputFlags = 0;
};

struct LgStreamReader {
    std::atomic<std::uint32_t> beg{ 0 };
    std::atomic<std::uint32_t> nbOverflowsSeen{ 0 };
};

struct LgQueueMemory {
    static constexpr std::uint64_t MAGIC = 0x31474f4c5651; // "QVLOG1"
    static constexpr std::size_t LINE = 64;
    static constexpr std::size_t NAME_SIZE = 64;

    /// Written before others know the queue, then constant, but for `magic`: stored last, with a
    /// release, so that who finds it finds the rest.
    struct Head {
        std::atomic<std::uint64_t> magic{ 0 };
        std::uint64_t process = 0;
        // When the process made its first queue, in nanoseconds since the epoch.
        std::uint64_t run = 0;
        std::uint64_t threadId = 0;
        std::uint32_t nbCharacters = 0;
        std::uint32_t nbEntries = 0;
        // Ticks a second, and a stamp with the seconds since the epoch at that moment.
        double ticksPerSecond = 0;
        std::uint64_t stamp = 0;
        double realTime = 0;
        char threadName[NAME_SIZE] = {};
    };

    struct Owner {
        LgStreamOwner stream;
        std::atomic<std::uint32_t> end{ 0 };
        std::uint32_t begSeen = 0;
        // That of the statement being written, else LgQueue::NO_STATEMENT or NOT_STAMPED. The clear
        // is a release after the entry's publication: a reader that finds no statement finds its
        // entry.
        std::atomic<std::uint64_t> stamp{ 0 };
        std::atomic<std::uint64_t> nbLost{ 0 };
        std::atomic<std::uint64_t> nbNested{ 0 };
        // Relaxed: written by the owner, asked by any.
        std::atomic<int> suppressCount{ 0 };
        // A release after all else of the owner.
        std::atomic<bool> isAlive{ true };
    };

    struct Reader {
        LgStreamReader stream;
        std::atomic<std::uint32_t> beg{ 0 };
        // Relaxed: the reader's, and whoever looks at a dead process.
        std::atomic<std::uint64_t> nbTold{ 0 };
        std::atomic<std::uint64_t> nbNestedTold{ 0 };
    };

    /// Where the memory of a queue lies.
    struct Place {
        LgQueueMemory* memory = nullptr;
        std::size_t size = 0;
        long process = 0;
        // Negative without one.
        int file = -1;
        LgTailFile::Name name{};
    };

    /// All pages are touched, and no fork makes the owner wait for them again. Raises
    /// std::bad_alloc. With `isKept` the memory is a file that outlives the process, where one can
    /// be made.
    static Place create( const LgQueue::Sizes& sizes, bool isKept );
    static void destroy( const Place& place ) noexcept;
    /// False in a forked child.
    static bool isOfThisProcess( const Place& place ) noexcept;

    static std::size_t getSize( const LgQueue::Sizes& sizes ) noexcept {
        return sizeof( LgQueueMemory ) + sizes.nbEntries * sizeof( LgQueue::Entry ) +
               sizes.nbCharacters;
    }

    LgQueue::Entry* getEntries() noexcept { return reinterpret_cast<LgQueue::Entry*>( this + 1 ); }
    const LgQueue::Entry* getEntries() const noexcept {
        return reinterpret_cast<const LgQueue::Entry*>( this + 1 );
    }
    char* getBuffer( std::uint32_t nbEntries ) noexcept {
        return reinterpret_cast<char*>( getEntries() + nbEntries );
    }
    const char* getBuffer( std::uint32_t nbEntries ) const noexcept {
        return reinterpret_cast<const char*>( getEntries() + nbEntries );
    }

    alignas( LINE ) Head head;
    alignas( LINE ) Owner owner;
    alignas( LINE ) Reader reader;
};

} // namespace Qv
