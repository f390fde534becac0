#include <resmgt/logger/lgQueue.h>

#include <base/failure/assertions.h>
#include <tests/support/raisedBy.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace Qv {

namespace {

template <class... Args>
std::string written( const Args&... args ) {
    LgStream stream;
    ( stream << ... << args ) << endString;
    return stream.takeText();
}

template <class T>
std::string formatted( const char* format, T value ) {
    std::vector<char> text( 6000 );
    std::snprintf( text.data(), text.size(), format, value );
    return text.data();
}

template <class... Args>
void log( LgQueue& queue, const Args&... args ) {
    if( queue.reserveEntry( LgTypes::Warning ) ) {
        ( queue.getStream() << ... << args );
        queue.addEntry();
    }
}

std::string read( LgQueue& queue ) {
    std::string text;
    if( queue.readEntry().isOverflowEntry() ) {
        text = "lost " + std::to_string( queue.takeOverflowCount() );
    } else {
        std::vector<char> buffer( queue.getBufSize() );
        queue.copyText( buffer.data() );
        text = buffer.data();
    }
    queue.removeEntry();
    return text;
}

} // namespace

TEST( LgStreamTest, ValuesReadAsPrintfWritesThem ) {
    const char* const null = nullptr;
    const std::vector<std::pair<std::string, std::string>> cases = {
        { written( 'a', static_cast<signed char>( 'b' ), static_cast<unsigned char>( 'c' ) ),
          "abc" },
        { written( '\0', std::string_view( "x\0y", 3 ) ), "?x?y" },
        { written( std::string_view(), "", std::string() ), "" },
        { written( true, ' ', false, ' ', null ), "true false (null)" },
        { written( SHRT_MIN, ' ', static_cast<unsigned short>( USHRT_MAX ) ), "-32768 65535" },
        { written( INT_MIN, ' ', UINT_MAX ), "-2147483648 4294967295" },
        { written( LLONG_MIN, ' ', ULLONG_MAX ), "-9223372036854775808 18446744073709551615" },
        { written( static_cast<const void*>( &null ) ),
          formatted( "%p", static_cast<const void*>( &null ) ) },
        { written( 0.5F, ' ', -0.0, ' ', 0.0000005, ' ', 0.0000015 ),
          "0.500000 -0.000000 0.000000 0.000002" },
        { written( HUGE_VAL, ' ', -HUGE_VAL, ' ', std::nan( "" ) ), "inf -inf nan" },
        { written( LDBL_MAX ), formatted( "%Lf", LDBL_MAX ) },
        { written( LDBL_TRUE_MIN ), "0.000000" },
        { written( DBL_MAX ), formatted( "%f", DBL_MAX ) },
    };
    for( const auto& [text, expected] : cases ) {
        EXPECT_EQ( text, expected );
    }
}

TEST( LgStreamTest, AnyFloatingPointNumberReadsAsPrintfWritesIt ) {
    std::mt19937_64 random( testSeed() );
    for( long i = 0; i < scaledCount( 100000 ); ++i ) {
        const double wide = std::bit_cast<double>( random() );
        if( !std::isnan( wide ) ) {
            ASSERT_EQ( written( wide ), formatted( "%f", wide ) );
        }
        // Where the decimals matter, halves among them.
        const double near = std::ldexp( static_cast<double>( random() % 100000000 ),
                                        -static_cast<int>( random() % 60 ) );
        ASSERT_EQ( written( near ), formatted( "%f", near ) );
        const long double longer = std::ldexp( static_cast<long double>( random() ),
                                               static_cast<int>( random() % 200 ) - 130 );
        ASSERT_EQ( written( longer ), formatted( "%Lf", longer ) );
    }
}

TEST( LgStreamTest, TextsKeepTheirOrderAndTheirEnds ) {
    LgStream stream( 16 );
    stream << "" << endString << "a" << endString;
    EXPECT_EQ( stream.getNextSize(), 0U );
    EXPECT_EQ( stream.takeText(), "" );
    EXPECT_EQ( stream.takeText(), "a" );
    // One that fits exactly, one that is too long by one, and one that wraps.
    EXPECT_EQ( stream.getNumCharacters(), 14U );
    stream << "01234567890123" << endString;
    EXPECT_TRUE( stream.isFull() );
    EXPECT_FALSE( stream.hasOverflowed() );
    EXPECT_EQ( stream.getNextSize(), 14U );
    stream << "refused" << endString;
    EXPECT_TRUE( stream.hasOverflowed() );
    EXPECT_EQ( stream.takeText(), "01234567890123" );
    EXPECT_FALSE( stream.hasOverflowed() );
    stream << "012345678901234"
           << "ab" << endString;
    EXPECT_EQ( stream.takeText(), "#ab" );
    EXPECT_EQ( stream.takeText(), "" );
}

TEST( LgQueueTest, AnEntryShowsItsOwnTextAlone ) {
    LgQueue queue( 1, "own", { 64, 8 } );
    // What was reserved and not written, what was ended twice, and what lies between statements.
    ASSERT_TRUE( queue.reserveEntry( LgTypes::Warning ) );
    queue.getStream() << endString;
    queue.addEntry();
    EXPECT_TRUE( queue.isEmpty() );
    log( queue, "first", endString, "behind", endString );
    log( queue, "" );
    log( queue, "second" );
    log( queue, "skipped" );
    log( queue, "taken" );
    EXPECT_EQ( read( queue ), "first" );
    EXPECT_EQ( read( queue ), "" );
    EXPECT_EQ( read( queue ), "second" );
    queue.removeEntry();
    EXPECT_EQ( read( queue ), "taken" );
    EXPECT_TRUE( queue.isEmpty() );
    EXPECT_NE( raisedBy( [&] { queue.removeEntry(); } ).find( "_beg != _end" ), std::string::npos );
}

TEST( LgQueueTest, AStatementWithinAnotherIsRefusedAndCounted ) {
    LgQueue queue( 1, nullptr );
    EXPECT_STREQ( queue.getThreadName(), "" );
    ASSERT_TRUE( queue.reserveEntry( LgTypes::Warning ) );
    queue.getStream() << "outer ";
    log( queue, "inner" );
    queue.getStream() << "text";
    queue.addEntry();
    EXPECT_EQ( read( queue ), "outer text" );
    EXPECT_TRUE( queue.isEmpty() );
    EXPECT_EQ( queue.takeMissedCount(), 1U );
    EXPECT_EQ( queue.takeMissedCount(), 0U );
}

TEST( LgQueueTest, SuppressedStatementsVanishUncounted ) {
    LgQueue queue( 1, "s" );
    {
        const LgQueue::SuppressGuard guard( queue );
        EXPECT_TRUE( queue.isOutputSuppressed() );
        log( queue, "gone" );
    }
    log( queue, "there" );
    EXPECT_EQ( read( queue ), "there" );
    EXPECT_EQ( queue.takeMissedCount(), 0U );
}

TEST( LgQueueTest, LossesStandInOneEntryBehindWhichStatementsGoOn ) {
    LgQueue queue( 1, "s", { 4096, 8 } );
    for( int i = 0; i < 10; ++i ) {
        log( queue, i );
    }
    EXPECT_TRUE( queue.isFull() );
    EXPECT_EQ( queue.getNbEntries(), 7U );
    EXPECT_EQ( read( queue ), "0" );
    EXPECT_EQ( read( queue ), "1" );
    log( queue, "late" );
    for( const char* const expected : { "2", "3", "4", "5", "lost 4", "late" } ) {
        EXPECT_EQ( read( queue ), expected );
    }
}

TEST( LgQueueTest, AnUnreadQueueIsCountedWhenItIsDestroyed ) {
    const std::uint64_t nbBefore = LgQueue::getNbUnread();
    {
        LgQueue queue( 1, "s", { 4096, 8 } );
        for( int i = 0; i < 10; ++i ) {
            log( queue, i );
        }
    }
    EXPECT_EQ( LgQueue::getNbUnread() - nbBefore, 10U );
}

/// The owner floods, the reader reads; each line that comes out is one that went in, in order, and
/// none is missing from the sum.
TEST( LgQueueTest, EachStatementIsReadOrCountedWhileBothSidesRun ) {
    const auto nbStatements = static_cast<std::uint64_t>( scaledCount( 1000000 ) );
    const std::uint64_t seed = testSeed();
    LgQueue queue( 1, "flood", { 64, 8 } );
    TestThread owner( [&] {
        std::mt19937_64 random( seed );
        for( std::uint64_t i = 1; i <= nbStatements; ++i ) {
            log( queue, i, random() % 3 == 0 ? " with more text" : "" );
        }
        queue.creatorExit();
    } );
    std::uint64_t nbLines = 0;
    std::uint64_t nbCounted = 0;
    unsigned long long last = 0;
    for( bool isAlive = true; isAlive || !queue.isEmpty(); isAlive = queue.isCreatorAlive() ) {
        if( queue.isEmpty() ) {
            nbCounted += queue.takeMissedCount();
        } else if( queue.readEntry().isOverflowEntry() ) {
            nbCounted += queue.takeOverflowCount();
            queue.removeEntry();
        } else {
            const std::string text = read( queue );
            ++nbLines;
            // A number that found no room is "#".
            if( text[0] != '#' ) {
                const unsigned long long number = std::stoull( text );
                ASSERT_GT( number, last );
                last = number;
            }
        }
    }
    owner.join();
    nbCounted += queue.takeMissedCount();
    EXPECT_EQ( nbLines + nbCounted, nbStatements );
    EXPECT_GT( nbCounted, 0U );
}

namespace {

LgQueue* signalledQueue = nullptr;
std::atomic<std::uint64_t> nbSignalled{ 0 };

void logFromSignal( int ) {
    log( *signalledQueue, "signal" );
    nbSignalled.fetch_add( 1 );
}

} // namespace

TEST( LgQueueTest, ASignalHandlerMayLogAtAnyMoment ) {
    LgQueue queue( 1, "signals" );
    signalledQueue = &queue;
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = &logFromSignal;
    ASSERT_EQ( ::sigaction( SIGUSR2, &action, &former ), 0 );
    const pthread_t owner = ::pthread_self();
    std::atomic<bool> isOver{ false };
    TestThread sender( [&] {
        while( !isOver ) {
            ::pthread_kill( owner, SIGUSR2 );
        }
    } );
    // The handler may fill the queue at any moment.
    std::uint64_t nbTold = 0;
    const auto drain = [&] {
        while( !queue.isEmpty() ) {
            if( queue.readEntry().isOverflowEntry() ) {
                nbTold += queue.takeOverflowCount();
                queue.removeEntry();
            } else {
                const std::string text = read( queue );
                EXPECT_TRUE( text == "signal" || text.rfind( "own ", 0 ) == 0 ) << text;
                ++nbTold;
            }
        }
    };
    const auto nbStatements = static_cast<std::uint64_t>( scaledCount( 200000 ) );
    for( std::uint64_t i = 0; i < nbStatements; ++i ) {
        log( queue, "own ", i );
        drain();
    }
    isOver = true;
    sender.join();
    ASSERT_EQ( ::sigaction( SIGUSR2, &former, nullptr ), 0 );
    drain();
    nbTold += queue.takeMissedCount();
    EXPECT_EQ( nbTold, nbStatements + nbSignalled );
}

} // namespace Qv
