#include <base/failure/exSysError.h>
#include <base/text/exStdout.h>
#include <base/text/langUtil.h>
#include <base/text/src/outputDescriptor.h>
#include <tests/support/tempDirectory.h>
#include <tests/support/testThread.h>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <locale>
#include <map>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace Qv {

namespace {

/// More than a pipe takes at once, so that each text needs several calls.
constexpr std::size_t LONG_TEXT = 200'000;

struct Pipe {
    Pipe() { EXPECT_EQ( ::pipe( ends ), 0 ); }
    ~Pipe() {
        ::close( ends[0] );
        ::close( ends[1] );
    }

    std::string writerPath() const { return "/dev/fd/" + std::to_string( ends[1] ); }
    std::string read( std::size_t size ) const {
        std::string result( size, '\0' );
        std::size_t filled = 0;
        ssize_t count = 1;
        for( ; filled < size && count > 0; filled += static_cast<std::size_t>( count ) ) {
            count = ::read( ends[0], result.data() + filled, size - filled );
        }
        EXPECT_GT( count, 0 ) << "after " << filled;
        return result;
    }

    int ends[2] = { -1, -1 };
};

/// In a process that has had no standard output.
class ExStdoutTest : public testing::Test {
protected:
    ExStdoutTest() {
        std::fflush( stdout );
        const int kept = ::fcntl( STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1 );
        ::close( STDOUT_FILENO );
        ExStdout::initialize( "/dev/null" );
        ::dup2( kept, STDOUT_FILENO );
        ::close( kept );
    }
    ~ExStdoutTest() override { ExStdout::initialize( "/dev/null" ); }
};

} // namespace

TEST( ExStdoutDeathTest, AStandardOutputThatIsThereIsKept ) {
    const auto print = [] {
        ExStdout::initialize( "/dev/full" );
        ExStdout::printAtomically( "text" );
        ::_exit( 0 );
    };
    EXPECT_EXIT( print(), testing::ExitedWithCode( 0 ), "" );
}

TEST_F( ExStdoutTest, TextsLongerThanAPipeHoldsStayWholeAcrossThreads ) {
    constexpr std::size_t NB_THREADS = 4;
    constexpr int NB_LINES = 5;
    const Pipe pipe;
    ExStdout::initialize( pipe.writerPath().c_str() );
    EXPECT_FALSE( ExStdout::isRedirectedToAFile() );
    const TestThreads threads( NB_THREADS, []( unsigned int i ) {
        const std::string line = std::string( LONG_TEXT, static_cast<char>( 'a' + i ) ) + '\n';
        for( int n = 0; n < NB_LINES; ++n ) {
            ExStdout::printAtomically( line.c_str() );
        }
    } );
    std::istringstream text( pipe.read( NB_LINES * NB_THREADS * ( LONG_TEXT + 1 ) ) );
    std::map<std::string, int> counts;
    for( std::string line; std::getline( text, line ); ) {
        ++counts[line];
    }
    for( const auto& [line, count] : counts ) {
        EXPECT_TRUE( line == std::string( LONG_TEXT, line[0] ) ) << "torn";
        EXPECT_EQ( count, NB_LINES ) << line[0];
    }
}

TEST_F( ExStdoutTest, SignalsInTheMiddleOfATextLoseNothing ) {
    struct sigaction action = {};
    struct sigaction former = {};
    action.sa_handler = []( int ) {};
    ASSERT_EQ( sigaction( SIGUSR1, &action, &former ), 0 );

    const Pipe pipe;
    ExStdout::initialize( pipe.writerPath().c_str() );
    std::string written;
    for( std::size_t i = 0; i < LONG_TEXT; ++i ) {
        written += static_cast<char>( 'a' + i % 26 );
    }
    pthread_t writerId = {};
    {
        TestThread writer( [&] {
            writerId = pthread_self();
            ExStdout::printAtomically( written.c_str() );
        } );
        // The first signal ends the call after a part, the second one that wrote nothing.
        for( int i = 0; i < 2; ++i ) {
            writer.waitUntilBlocked();
            pthread_kill( writerId, SIGUSR1 );
        }
        writer.waitUntilBlocked();
        EXPECT_EQ( pipe.read( written.size() ), written );
    }
    sigaction( SIGUSR1, &former, nullptr );
}

TEST( OutputDescriptorTest, TextIsWrittenWholeToANonBlockingPipe ) {
    const Pipe pipe;
    ASSERT_EQ( fcntl( pipe.ends[1], F_SETFL, O_NONBLOCK ), 0 );
    const std::string written( LONG_TEXT, 'x' );
    TestThread writer( [&] { OutputDescriptor::write( pipe.ends[1], written ); } );
    writer.waitUntilBlocked();
    EXPECT_EQ( pipe.read( written.size() ), written );
}

TEST_F( ExStdoutTest, AFailedRedirectionRaisesAndTheFormerFileIsAppendedTo ) {
    const TempDirectory directory;
    const auto path = directory.path() / "out.txt";
    std::ofstream( path ) << "old ";
    ExStdout::initialize( path.c_str() );
    EXPECT_TRUE( ExStdout::isRedirectedToAFile() );
    EXPECT_THROW( ExStdout::initialize( ( directory.path() / "none" / "x" ).c_str() ),
                  ExSysErrorANSI );
    ExStdout::printAtomically( "new\x1b\xc2\x9b\n" );
    std::ifstream file( path );
    EXPECT_EQ( std::string( std::istreambuf_iterator<char>( file ), {} ), "old new??\n" );
    ExStdout::initialize( "/dev/full" );
    EXPECT_THROW( ExStdout::printAtomically( "text" ), ExSysErrorANSI );
}

TEST_F( ExStdoutTest, ItsFileNeverGetsTheNumberOfAClosedStream ) {
    const auto initialize = [] {
        ::close( STDIN_FILENO );
        ExStdout::initialize( "/dev/null" );
        return ::fcntl( STDIN_FILENO, F_GETFD ) < 0 ? 0 : 1;
    };
    EXPECT_EXIT( ::_exit( initialize() ), testing::ExitedWithCode( 0 ), "" );
}

TEST( LangUtilTest, NumbersLookTheSameWhateverTheGlobalLocaleIs ) {
    struct Punctuation : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale former =
        std::locale::global( std::locale( std::locale::classic(), new Punctuation ) );
    std::ostringstream text;
    text.imbue( LangUtil::getLocale() );
    text << 1234567 << " " << 1.5;
    std::locale::global( former );
    EXPECT_EQ( text.str(), "1234567 1.5" );
}

} // namespace Qv
