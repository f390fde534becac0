#include <tests/qvcomp/testCommand.h>

#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/processLimit.h>
#include <tests/support/scopedEnvironment.h>
#include <tests/support/testSettings.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <random>
#include <tuple>

#include <signal.h>
#include <sys/stat.h>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAreArray;

class QvcompFaultTest : public QvcompTest {
protected:
    /// The command fails with one line that has `text`, and leaves nothing behind.
    void expectFailure( const std::string& text, const Arguments& more = {}, int status = 1 ) {
        const int threads = countThreads();
        const int descriptors = countDescriptors();
        expectFailed( runInside( makeArguments( more ) ), text, status );
        waitUntil( [&] { return countThreads() == threads; }, "the threads to end" );
        EXPECT_EQ( countDescriptors(), descriptors );
    }

    void expectLayerFailure( const std::string& text, const std::string& layer ) {
        _layers.push_back( layer );
        expectFailure( text );
        _layers.pop_back();
    }

    void expectFailed( const Outcome& outcome, const std::string& text, int status = 1 ) {
        EXPECT_EQ( outcome.status, status );
        EXPECT_EQ( outcome.output, "" );
        EXPECT_THAT( outcome.errors, StartsWith( "qvcomp: " ) );
        EXPECT_EQ( outcome.errors.find( '\n' ), outcome.errors.size() - 1 ) << outcome.errors;
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
        EXPECT_TRUE( fs::is_empty( _outputs.path() ) );
        EXPECT_TRUE( listBlocks().empty() );
    }

    static Arguments largeWork() { return { "--size", "9000x9000", "--memory", "4M" }; }

    /// Sends the signal to a command that has tiles on the disk.
    Outcome endBy( int signal ) {
        ChildCommand child( makeCommand( largeWork() ) );
        waitUntil( [&] { return !listBlocks().empty(); }, "qvcomp to save a tile" );
        child.send( signal );
        return child.finish();
    }

    std::string writeInput( const std::string& name, const std::string& bytes ) {
        const fs::path path = _inputs.path() / name;
        std::ofstream( path, std::ios::binary ) << bytes;
        return path.string();
    }
};

TEST_F( QvcompFaultTest, LayerThatIsNoImageIsNamed ) {
    const std::string text = "Rome is not an image, but these are more than four bytes.";
    const std::pair<std::string, const char*> cases[] = {
        { ( _inputs.path() / "nowhere.exr" ).string(), "nowhere.exr' doesn't exist" },
        { writeInput( "text.exr", text ), "text.exr' is not an OpenEXR image" },
        { writeInput( "short.exr", "ab" ), "short.exr' is not an OpenEXR image" },
        { writeInput( "empty.exr", "" ), "empty.exr' is empty" },
        { _inputs.path().string(), "is not a file" },
        { "red\x1B[31m\nlie.exr", "layer 'red?[31m?lie.exr' doesn't exist" },
    };
    for( const auto& [layer, failure] : cases ) {
        expectLayerFailure( failure, layer );
    }
}

TEST_F( QvcompFaultTest, TruncatedLayerIsFoundWhereverItEnds ) {
    for( const std::string& layer : Arguments( _layers ) ) {
        const std::string whole = readFile( layer );
        for( const double part : { 0.02, 0.3, 0.5, 0.9, 0.999 } ) {
            SCOPED_TRACE( layer + " " + std::to_string( part ) );
            const auto size = part * static_cast<double>( whole.size() );
            const std::string cut = whole.substr( 0, static_cast<std::size_t>( size ) );
            expectLayerFailure( "cut.exr' is", writeInput( "cut.exr", cut ) );
        }
    }
}

TEST_F( QvcompFaultTest, DamagedLayerMakesAPictureOrOneSentence ) {
    std::mt19937_64 random( testSeed() );
    const auto below = [&]( std::size_t end ) {
        return static_cast<std::size_t>( random() % end );
    };
    const Arguments good = _layers;
    const auto damage = [&] {
        std::string bytes = readFile( good[below( good.size() )] );
        // Mostly in the head, which says how all else is read.
        const std::size_t end = below( 4 ) == 0 ? bytes.size() : 400;
        for( std::size_t n = 1 + below( 3 ); n > 0; --n ) {
            const char values[] = { '\0', '\x7F', '\xFF', static_cast<char>( random() ) };
            bytes[below( std::min( end, bytes.size() ) )] = values[below( 4 )];
        }
        return bytes;
    };
    for( long turns = scaledCount( 300 ); turns > 0; --turns ) {
        _layers = { writeInput( "damaged.exr", damage() ) };
        const Outcome outcome = runInside( makeArguments( { "--size", "24x16" } ) );
        if( outcome.status != 0 ) {
            expectFailed( outcome, "damaged.exr' " );
        }
        fs::remove( getOutput() );
        fs::remove( getPreview() );
        ASSERT_FALSE( HasFailure() ) << turns << " turns are left";
    }
}

TEST_F( QvcompFaultTest, AbsurdDataWindowIsRefusedBeforeMemoryIsTaken ) {
    const std::string label( "dataWindow\0box2i\0\x10\0\0\0", 21 );
    const std::string good = readFile( _layers[2] );
    const std::size_t place = good.find( label );
    ASSERT_NE( place, std::string::npos );
    constexpr std::int32_t FAR = 0x7FFFFFFF;
    const std::array<std::int32_t, 4> windows[] = {
        { 0, 0, FAR, FAR },         { -FAR, -FAR, FAR, FAR }, { 5, 5, 4, 4 },
        { 0, 0, 1000000000, 1000 }, { 0, 0, 65536, 0 },       { 0, 0, 65535, 65535 },
    };
    for( const auto& window : windows ) {
        SCOPED_TRACE( ::testing::PrintToString( window ) );
        std::string bytes = good;
        std::memcpy( &bytes[place + label.size()], window.data(), sizeof window );
        expectLayerFailure( "window.exr' ", writeInput( "window.exr", bytes ) );
    }
}

TEST_F( QvcompFaultTest, AttributeThatClaimsMoreThanTheFileHasIsRefused ) {
    const std::string label( "dataWindow\0box2i\0", 17 );
    const std::string good = readFile( _layers[2] );
    const std::size_t place = good.find( label ) + label.size();
    for( const std::uint32_t size : { 0x7FFFFFFFU, 0xFFFFFFFFU, 0x10000U } ) {
        std::string bytes = good;
        std::memcpy( &bytes[place], &size, sizeof size );
        expectLayerFailure( "its attribute 'dataWindow' claims " + std::to_string( size ),
                            writeInput( "claim.exr", bytes ) );
    }
}

TEST_F( QvcompFaultTest, OneFileUnderTwoNamesIsRefused ) {
    run();
    const std::string picture = readFile( getOutput() );
    const std::string preview = readFile( getPreview() );
    const std::string layer = readFile( _layers[1] );
    const fs::path folder = _outputs.path() / "folder";
    fs::create_directory( folder );
    fs::create_directory_symlink( _outputs.path(), folder / "up" );
    fs::create_symlink( "up/out.exr", folder / "out" );
    fs::create_hard_link( getOutput(), folder / "hard" );
    fs::create_symlink( "up/new.exr", folder / "new" );
    fs::create_symlink( _layers[1], folder / "layer" );
    fs::create_hard_link( _layers[1], _inputs.path() / "second" );
    const std::string in = folder.string() + '/';
    const std::string same = "-o and --preview name the same file";
    const std::string isLayer = "' is also a layer";
    const std::string second = _inputs.path() / "second";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        { getOutput(), in + "out", same },
        { getOutput(), in + "hard", same },
        { getOutput(), in + "up/out.exr", same },
        { in + "new", in + "../new.exr", same },
        { in + "new.exr", in + "up/folder/new.exr", same },
        { in + "layer", getPreview(), isLayer },
        { second, getPreview(), isLayer },
        { getOutput(), _layers[1], isLayer },
    };
    for( const auto& [output, other, text] : cases ) {
        const Outcome outcome = runInside( makeArguments( { "-o", output, "--preview", other } ) );
        EXPECT_EQ( outcome.status, 2 ) << output << ' ' << other;
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
    }
    EXPECT_TRUE( readFile( getOutput() ) == picture && readFile( getPreview() ) == preview );
    EXPECT_TRUE( readFile( _layers[1] ) == layer );
    EXPECT_FALSE( fs::exists( _outputs.path() / "new.exr" ) );
}

TEST_F( QvcompFaultTest, ReportThatCantBeWrittenIsStatus1AndThePictureStays ) {
    const auto runInto = [&]( const std::string& redirection, Arguments command ) {
        command.insert( command.begin(), { "/bin/sh", "-c", "exec \"$@\" " + redirection, "sh" } );
        return ChildCommand( command ).finish();
    };
    for( const auto& [redirection, text] :
         { std::pair( ">/dev/full", "can't write to standard output: No space left on device" ),
           { ">&-", "can't write to standard output: Bad file descriptor" } } ) {
        for( const Arguments& command : { makeCommand(), { QVCOMP_PROGRAM, "--help" } } ) {
            const Outcome outcome = runInto( redirection, command );
            EXPECT_EQ( outcome.status, 1 );
            EXPECT_THAT( outcome.errors, HasSubstr( text ) );
        }
        EXPECT_TRUE( fs::remove( getOutput() ) );
    }
    // What is missing isn't taken for a file that the command opens.
    EXPECT_EQ( runInto( "<&- 2>&-", makeCommand() ).status, 0 );
}

TEST_F( QvcompFaultTest, WrongCommandLineIsStatus2 ) {
    expectFailure( "--size", { "--size", "0x100" }, 2 );
    expectFailure( "--size", { "--size", "4294967297x1" }, 2 );
    _layers.clear();
    expectFailure( "no layer", {}, 2 );
}

TEST_F( QvcompFaultTest, TooLittleMemorySaysWhatIsNeededAndThatIsEnough ) {
    const std::string needed = std::to_string( 2 * 3 * ( 16 * 16 * 16 + 127 ) );
    expectFailure( needed + " bytes", { "--memory", "20000" } );
    run( { "--memory", needed } );
}

TEST_F( QvcompFaultTest, UnusableScratchFolderOrOutputIsNamed ) {
    const std::string missing = ( _scratch.path() / "missing" ).string();
    const std::string folder = _scratch.path().string();
    // Nobody can make a file in /proc, not even the superuser.
    for( const auto& [option, path] : { std::pair( "--scratch", missing ),
                                        { "--scratch", "/proc" },
                                        { "--scratch", _layers[0] },
                                        { "-o", "/proc/out.exr" },
                                        { "-o", folder },
                                        { "--preview", "/proc/p.png" },
                                        { "-o", "/dev/null" } } ) {
        expectFailure( "'" + path + "'", { option, path } );
    }
    EXPECT_TRUE( fs::is_character_file( "/dev/null" ) );
}

TEST_F( QvcompFaultTest, ScratchFolderFullInTheMiddleEndsTheWork ) {
    const std::string folder = '\'' + _scratch.path().string() + '\'';
    for( const char* strategy : { "lru", "random" } ) {
        for( const char* memory : { "26K", "60K", "200K" } ) {
            const Arguments options{ "--memory", memory, "--strategy", strategy };
            SCOPED_TRACE( ::testing::PrintToString( options ) );
            Arguments limited = options;
            limited.insert( limited.end(), { "--scratch-limit", "100K" } );
            const std::string full = "the tiles in " + folder + " need more than the ";
            expectFailure( full + "102400 bytes of --scratch-limit", limited );
            {
                const ScopedEnvironment lower( "QV_IO_MAX_BYTES", "50000" );
                expectFailure( full + "50000 bytes of QV_IO_MAX_BYTES", limited );
            }
            // A tile's file takes 4096.
            const ProcessLimit limit( RLIMIT_FSIZE, 4000 );
            expectFailure( "can't keep tiles in " + folder + ": File too large", options );
        }
    }
}

TEST_F( QvcompFaultTest, CacheThatOthersMayEnterIsRefused ) {
    const auto expectRefusal = [&] {
        expectFailure( '\'' + getCache().string() + "' is not a folder that only its owner" );
        fs::remove_all( getCache() );
    };
    for( const mode_t mode : { 0750U, 0701U, 01777U } ) {
        fs::create_directory( getCache() );
        ::chmod( getCache().c_str(), mode );
        expectRefusal();
    }
    fs::create_directory_symlink( _inputs.path(), getCache() );
    expectRefusal();
    std::ofstream( getCache() ) << "no folder";
    expectRefusal();
    run();
    EXPECT_EQ( fs::status( getCache() ).permissions(), fs::perms::owner_all );
}

TEST_F( QvcompFaultTest, DamagedTilesEndTheWorkAndStandardOutputStaysEmpty ) {
    ChildCommand child( makeCommand( { "--size", "3000x3000", "--memory", "200K" } ) );
    std::atomic<bool> isOver = false;
    TestThread damage( [&] {
        while( !isOver ) {
            for( const fs::path& block : listBlocks() ) {
                std::error_code error;
                fs::resize_file( block, 0, error );
            }
        }
    } );
    const Outcome outcome = child.finish();
    isOver = true;
    damage.join();
    expectFailed( outcome,
                  "can't keep tiles in '" + _scratch.path().string() + "': Input/output error" );
}

TEST_F( QvcompFaultTest, DiskFullWhileThePictureIsWrittenLeavesTheOldOne ) {
    run();
    const std::string former = readFile( getOutput() );
    _layers = { _layers[0], _layers[2], _layers[0] };
    // Of half, the preview may be the first to miss some. Where nearly all fits, only completing
    // the picture's file fails.
    for( const std::uintmax_t room : { former.size() / 2, former.size() - 1 } ) {
        const ProcessLimit limit( RLIMIT_FSIZE, room );
        const Outcome outcome = runInside( makeArguments() );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors, ContainsRegex( "out\\.(exr|png)': File too large" ) );
        EXPECT_EQ( readFile( getOutput() ), former );
        EXPECT_EQ( std::distance( fs::directory_iterator( _outputs.path() ), {} ), 2 );
    }
}

TEST_F( QvcompFaultTest, InterruptedItSaysSoAndLeavesNothing ) {
    for( const int signal : { SIGINT, SIGTERM, SIGHUP } ) {
        SCOPED_TRACE( signal );
        expectFailed( endBy( signal ),
                      std::string( "interrupted by SIG" ) + ::sigabbrev_np( signal ) );
    }
}

TEST_F( QvcompFaultTest, WhatAKilledOneLeavesTheNextOneRemovesButNotFromTheLiving ) {
    EXPECT_EQ( endBy( SIGKILL ).status, -SIGKILL );
    EXPECT_TRUE( fs::is_empty( _outputs.path() ) );
    EXPECT_FALSE( listBlocks().empty() );
    const std::vector<fs::path> remains = listBlocks();
    ChildCommand living( makeCommand( largeWork() ) );
    const auto isThere = []( const fs::path& block ) { return fs::exists( block ); };
    waitUntil( [&] { return std::ranges::none_of( remains, isThere ) && !listBlocks().empty(); },
               "the living one's tiles" );
    // It removes blocks itself as it works.
    living.stop();
    const std::vector<fs::path> tiles = listBlocks();
    EXPECT_FALSE( tiles.empty() );
    run();
    EXPECT_THAT( listBlocks(), UnorderedElementsAreArray( tiles ) );
    living.send( SIGTERM );
    living.send( SIGCONT );
    EXPECT_EQ( living.finish().status, 1 );
    EXPECT_TRUE( listBlocks().empty() );
}

} // namespace
} // namespace Qv::Comp
