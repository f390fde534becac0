#include <tests/qvcomp/fileSizeLimit.h>
#include <tests/qvcomp/testCommand.h>
#include <tests/qvcomp/testImages.h>

#include <tests/support/deadline.h>
#include <tests/support/processCounts.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <cstring>
#include <fstream>

#include <signal.h>

namespace Qv::Comp {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

using Arguments = std::vector<std::string>;

/// Each test has folders of its own for the layers, the outputs and the scratch file.
class QvcompFault : public ::testing::Test {
protected:
    QvcompFault()
        : _layers( writeLayers( _inputs.path() ) ) {}

    /// A whole command line with `layers`, then `more`.
    Arguments makeArguments( const Arguments& layers, const Arguments& more = {} ) {
        Arguments arguments{ "--size",    "200x120",
                             "--tile",    "16",
                             "--threads", "3",
                             "-o",        ( _outputs.path() / "out.exr" ).string(),
                             "--preview", ( _outputs.path() / "out.png" ).string(),
                             "--scratch", _scratch.path().string() };
        arguments.insert( arguments.end(), more.begin(), more.end() );
        arguments.insert( arguments.end(), layers.begin(), layers.end() );
        return arguments;
    }

    /// The command fails with one line that has `text`, and leaves nothing behind.
    void expectFailure( const Arguments& arguments, const std::string& text, int status = 1 ) {
        const int threads = countThreads();
        const int descriptors = countDescriptors();
        const Outcome outcome = runInside( arguments );
        expectFailed( outcome, text, status );
        waitUntil( [&] { return countThreads() == threads; }, "the threads to end" );
        EXPECT_EQ( countDescriptors(), descriptors );
    }

    void expectFailed( const Outcome& outcome, const std::string& text, int status = 1 ) {
        EXPECT_EQ( outcome.status, status );
        EXPECT_EQ( outcome.output, "" );
        EXPECT_THAT( outcome.errors, StartsWith( "qvcomp: " ) );
        EXPECT_THAT( outcome.errors, EndsWith( "\n" ) );
        EXPECT_EQ( std::count( outcome.errors.begin(), outcome.errors.end(), '\n' ), 1 )
            << outcome.errors;
        EXPECT_THAT( outcome.errors, HasSubstr( text ) );
        EXPECT_TRUE( fs::is_empty( _outputs.path() ) );
        EXPECT_TRUE( fs::is_empty( _scratch.path() ) );
    }

    std::string writeInput( const std::string& name, const std::string& bytes ) {
        const fs::path path = _inputs.path() / name;
        std::ofstream( path, std::ios::binary ) << bytes;
        return path.string();
    }

    TempDirectory _inputs;
    TempDirectory _outputs;
    TempDirectory _scratch;
    Arguments _layers;
};

TEST_F( QvcompFault, LayerThatIsNoImageIsNamed ) {
    const std::string text = "Rome is not an image, but these are more than four bytes.";
    struct Case {
        std::string layer;
        const char* text;
    };
    const Case cases[] = {
        { ( _inputs.path() / "nowhere.exr" ).string(), "nowhere.exr' doesn't exist" },
        { writeInput( "text.exr", text ), "text.exr' is not an OpenEXR image" },
        { writeInput( "short.exr", "ab" ), "short.exr' is not an OpenEXR image" },
        { writeInput( "empty.exr", "" ), "empty.exr' is empty" },
        { _inputs.path().string(), "is not a file" },
    };
    for( const Case& c : cases ) {
        SCOPED_TRACE( c.text );
        expectFailure( makeArguments( { _layers[0], c.layer } ), c.text );
    }
}

TEST_F( QvcompFault, TruncatedLayerIsFoundWhereverItEnds ) {
    for( const std::string& layer : _layers ) {
        const std::string whole = readFile( layer );
        for( const double part : { 0.02, 0.3, 0.5, 0.9, 0.999 } ) {
            SCOPED_TRACE( layer + " " + std::to_string( part ) );
            const auto size =
                static_cast<std::size_t>( part * static_cast<double>( whole.size() ) );
            const std::string cut = writeInput( "cut.exr", whole.substr( 0, size ) );
            expectFailure( makeArguments( { _layers[0], cut } ), "cut.exr' is" );
        }
    }
}

TEST_F( QvcompFault, AbsurdDataWindowIsRefusedBeforeMemoryIsTaken ) {
    const std::string label( "dataWindow\0box2i\0\x10\0\0\0", 21 );
    const std::string good = readFile( _layers[2] );
    const std::size_t place = good.find( label );
    ASSERT_NE( place, std::string::npos );
    constexpr std::int32_t FAR = 0x7FFFFFFF;
    const std::array<std::int32_t, 4> windows[] = {
        { 0, 0, FAR, FAR },         { -FAR, -FAR, FAR, FAR }, { 5, 5, 4, 4 },
        { 0, 0, 1000000000, 1000 }, { 0, 0, 65536, 0 },
    };
    for( const auto& window : windows ) {
        SCOPED_TRACE( ::testing::PrintToString( window ) );
        std::string bytes = good;
        std::memcpy( &bytes[place + label.size()], window.data(), sizeof window );
        expectFailure( makeArguments( { writeInput( "window.exr", bytes ) } ), "window.exr' " );
    }
}

TEST_F( QvcompFault, WrongCommandLineIsStatus2 ) {
    expectFailure( makeArguments( {} ), "no layer", 2 );
    expectFailure( makeArguments( _layers, { "--size", "0x100" } ), "--size", 2 );
    expectFailure( makeArguments( _layers, { "--size", "4294967297x1" } ), "--size", 2 );
}

TEST_F( QvcompFault, TooLittleMemorySaysWhatIsNeededAndThatIsEnough ) {
    const std::string needed = std::to_string( 2 * 3 * ( 16 * 16 * 16 + 127 ) );
    expectFailure( makeArguments( _layers, { "--memory", "20000" } ), needed + " bytes" );
    const Outcome outcome = runInside( makeArguments( _layers, { "--memory", needed } ) );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
}

TEST_F( QvcompFault, UnusableScratchFolderIsNamed ) {
    const std::string missing = ( _scratch.path() / "missing" ).string();
    expectFailure( makeArguments( _layers, { "--scratch", missing } ), missing );
    // Nobody can make a file there, not even the superuser.
    expectFailure( makeArguments( _layers, { "--scratch", "/proc" } ), "'/proc'" );
    expectFailure( makeArguments( _layers, { "--scratch", _layers[0] } ), _layers[0] );
}

TEST_F( QvcompFault, UnusableOutputIsNamed ) {
    expectFailure( makeArguments( _layers, { "-o", "/proc/out.exr" } ), "'/proc/out.exr'" );
    expectFailure( makeArguments( _layers, { "-o", _scratch.path().string() } ),
                   _scratch.path().string() );
    expectFailure( makeArguments( _layers, { "--preview", "/proc/p.png" } ), "'/proc/p.png'" );
    expectFailure( makeArguments( _layers, { "-o", "/dev/null" } ), "'/dev/null'" );
    EXPECT_TRUE( fs::is_character_file( "/dev/null" ) );
}

TEST_F( QvcompFault, ScratchFolderFullInTheMiddleEndsTheWork ) {
    for( const char* strategy : { "lru", "random" } ) {
        for( const char* memory : { "26K", "60K", "200K" } ) {
            SCOPED_TRACE( std::string( strategy ) + ' ' + memory );
            const FileSizeLimit limit( 100000 );
            expectFailure( makeArguments( _layers, { "--memory", memory, "--strategy", strategy } ),
                           "can't write the scratch file in '" + _scratch.path().string() +
                               "': File too large" );
        }
    }
}

TEST_F( QvcompFault, DiskFullWhileThePictureIsWrittenLeavesTheOldOne ) {
    const fs::path output = _outputs.path() / "out.exr";
    ASSERT_EQ( runInside( makeArguments( _layers ) ).status, 0 );
    const std::string former = readFile( output );
    // Nearly all of it fits: then only completing the file fails.
    for( const std::uintmax_t room : { former.size() / 2, former.size() - 1 } ) {
        const FileSizeLimit limit( room );
        const Outcome outcome =
            runInside( makeArguments( { _layers[0], _layers[2], _layers[0] } ) );
        EXPECT_EQ( outcome.status, 1 );
        EXPECT_THAT( outcome.errors, HasSubstr( "out.exr': File too large" ) );
        EXPECT_EQ( readFile( output ), former );
        EXPECT_EQ( std::distance( fs::directory_iterator( _outputs.path() ), {} ), 2 );
    }
}

TEST_F( QvcompFault, DiskFullWhileThePreviewIsWrittenWritesNothing ) {
    ASSERT_EQ( runInside( makeArguments( _layers ) ).status, 0 );
    const auto size = fs::file_size( _outputs.path() / "out.png" );
    fs::remove( _outputs.path() / "out.exr" );
    fs::remove( _outputs.path() / "out.png" );
    // A preview alone: the image's own file would be the larger one.
    const FileSizeLimit limit( size / 2 );
    expectFailure( makeArguments( _layers ), "File too large" );
}

TEST_F( QvcompFault, InterruptedItLeavesNothingAndSaysSo ) {
    for( const auto& [signal, name] : { std::pair( SIGINT, "SIGINT" ), { SIGTERM, "SIGTERM" } } ) {
        SCOPED_TRACE( name );
        Arguments arguments = makeArguments( _layers, { "--size", "9000x9000", "--memory", "4M" } );
        arguments.insert( arguments.begin(), QVCOMP_PROGRAM );
        ChildCommand child( arguments );
        child.waitForFileIn( _scratch.path() );
        child.send( signal );
        expectFailed( child.finish(), std::string( "interrupted by " ) + name );
    }
}

TEST_F( QvcompFault, KilledItLeavesNoScratchFile ) {
    Arguments arguments = makeArguments( _layers, { "--size", "9000x9000", "--memory", "4M" } );
    arguments.insert( arguments.begin(), QVCOMP_PROGRAM );
    ChildCommand child( arguments );
    child.waitForFileIn( _scratch.path() );
    child.send( SIGKILL );
    EXPECT_EQ( child.finish().status, -SIGKILL );
    EXPECT_TRUE( fs::is_empty( _scratch.path() ) );
}

} // namespace
} // namespace Qv::Comp
