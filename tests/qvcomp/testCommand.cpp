#include <tests/qvcomp/testCommand.h>

#include <tools/qvcomp/command.h>
#include <tools/qvcomp/messages.h>

#include <resmgt/messages/msgServer.h>
#include <resmgt/osal/osFilePath.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Qv::Comp {

namespace {

namespace fs = std::filesystem;

std::vector<const char*> toPointers( const Arguments& texts ) {
    std::vector<const char*> pointers( texts.size() );
    std::ranges::transform( texts, pointers.begin(), &std::string::c_str );
    return pointers;
}

std::string readAll( int descriptor ) {
    std::string text;
    std::array<char, 4096> buffer;
    for( ssize_t count; ( count = ::read( descriptor, buffer.data(), buffer.size() ) ) > 0; ) {
        text.append( buffer.data(), static_cast<std::size_t>( count ) );
    }
    return text;
}

/// This program isn't where the command looks for its texts from.
class MessageTexts : public ::testing::Environment {
public:
    void SetUp() override {
        MsgServer::getInstance().setDirectory( QVCOMP_RESOURCES "/messages" );
        loadMessages();
    }
};

[[maybe_unused]] const ::testing::Environment* const messageTexts =
    ::testing::AddGlobalTestEnvironment( new MessageTexts );

} // namespace

Outcome runInside( const Arguments& arguments ) {
    std::ostringstream output;
    std::ostringstream errors;
    const int status = runCommand( toPointers( arguments ), output, errors, false );
    return { status, output.str(), errors.str() };
}

ChildCommand::ChildCommand( const Arguments& arguments ) {
    std::array<int, 2> output;
    std::array<int, 2> errors;
    if( ::pipe2( output.data(), O_CLOEXEC ) != 0 || ::pipe2( errors.data(), O_CLOEXEC ) != 0 ) {
        std::abort();
    }
    std::vector<const char*> pointers = toPointers( arguments );
    pointers.push_back( nullptr );
    _pid = ::fork();
    if( _pid == 0 ) {
        // Only what is allowed in the child of a process with threads.
        ::dup2( output[1], STDOUT_FILENO );
        ::dup2( errors[1], STDERR_FILENO );
        ::execv( pointers[0], const_cast<char* const*>( pointers.data() ) );
        ::_exit( 127 );
    }
    ::close( output[1] );
    ::close( errors[1] );
    _output = output[0];
    _errors = errors[0];
}

ChildCommand::~ChildCommand() {
    if( _pid > 0 ) {
        ::kill( _pid, SIGKILL );
        finish();
    }
    ::close( _output );
    ::close( _errors );
}

void ChildCommand::send( int signal ) const {
    ::kill( _pid, signal );
}

void ChildCommand::stop() const {
    send( SIGSTOP );
    int status = 0;
    ::waitpid( _pid, &status, WUNTRACED );
    EXPECT_TRUE( WIFSTOPPED( status ) ) << status;
}

Outcome ChildCommand::finish() {
    std::string errors;
    std::thread reader( [&] { errors = readAll( _errors ); } );
    std::string output = readAll( _output );
    reader.join();
    int status = 0;
    ::waitpid( std::exchange( _pid, -1 ), &status, 0 );
    return { WIFSIGNALED( status ) ? -WTERMSIG( status ) : WEXITSTATUS( status ), output, errors };
}

std::uint64_t getNumber( const std::string& report, const std::string& key ) {
    const std::string label = '"' + key + "\": ";
    const std::size_t place = report.find( label );
    if( place == std::string::npos ) {
        ADD_FAILURE() << "no " << key << " in " << report;
        return 0;
    }
    return std::strtoull( report.c_str() + place + label.size(), nullptr, 10 );
}

Arguments QvcompTest::makeArguments( const Arguments& more ) const {
    Arguments arguments{ "--size",    "200x120",
                         "--tile",    "16",
                         "--threads", "3",
                         "-o",        getOutput().string(),
                         "--preview", getPreview().string(),
                         "--scratch", _scratch.path().string(),
                         "--report",  "json" };
    arguments.insert( arguments.end(), more.begin(), more.end() );
    arguments.insert( arguments.end(), _layers.begin(), _layers.end() );
    return arguments;
}

Arguments QvcompTest::makeCommand( const Arguments& more ) const {
    Arguments arguments = makeArguments( more );
    arguments.insert( arguments.begin(), QVCOMP_PROGRAM );
    return arguments;
}

std::string QvcompTest::run( const Arguments& more ) const {
    const Outcome outcome = runInside( makeArguments( more ) );
    EXPECT_EQ( outcome.status, 0 ) << outcome.errors;
    return outcome.output;
}

fs::path QvcompTest::getCache() const {
    return _scratch.path() / ( "qvcomp-" + std::to_string( ::geteuid() ) );
}

std::vector<fs::path> QvcompTest::listBlocks() const {
    std::vector<fs::path> blocks;
    std::error_code error;
    for( const fs::directory_entry& entry : fs::directory_iterator( getCache(), error ) ) {
        // A probe's name begins with a digit too, at times.
        if( entry.path().filename().string()[0] == '0' && !entry.path().has_extension() ) {
            blocks.push_back( entry.path() );
        }
    }
    return blocks;
}

std::string readFile( const fs::path& path ) {
    std::ostringstream text;
    text << std::ifstream( path, std::ios::binary ).rdbuf();
    return std::move( text ).str();
}

} // namespace Qv::Comp
