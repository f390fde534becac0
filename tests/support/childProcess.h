#pragma once

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

/// For tests in which several processes take part. Each is the test program again.

namespace Qv {

/// Starts this program to run the disabled test `name`, such as "SomeChildTest.DISABLED_DoesThis",
/// alone. The child doesn't outlive its parent.
inline pid_t startChild( const std::string& name ) {
    const pid_t child = ::fork();
    if( child == 0 ) {
        ::prctl( PR_SET_PDEATHSIG, SIGKILL );
        const std::string filter = "--gtest_filter=" + name;
        ::execl( "/proc/self/exe", "child", "--gtest_also_run_disabled_tests", "--gtest_brief=1",
                 filter.c_str(), nullptr );
        ::_exit( 127 );
    }
    return child;
}

/// Waits for the child's end; its test has passed.
inline void expectSuccess( pid_t child ) {
    int status = -1;
    EXPECT_EQ( ::waitpid( child, &status, 0 ), child );
    EXPECT_EQ( status, 0 ) << "of the process " << child;
}

/// What became of a command.
struct ShellOutcome {
    /// Its exit status; -1 if a signal ended it.
    int status;
    std::string text;
};

/// Runs a command of the shell, to its end; the text is its output.
inline ShellOutcome runShell( const std::string& command ) {
    std::FILE* const pipe = ::popen( command.c_str(), "r" );
    std::string text;
    char buffer[4096];
    for( std::size_t nb = 0; ( nb = std::fread( buffer, 1, sizeof( buffer ), pipe ) ) > 0; ) {
        text.append( buffer, nb );
    }
    const int status = ::pclose( pipe );
    return { WIFEXITED( status ) ? WEXITSTATUS( status ) : -1, text };
}

/// What the processes share, in a file that each of them maps; all zeros in a new one.
template <class Shared>
class SharedFile {
public:
    explicit SharedFile( const std::string& path ) {
        const int file = ::open( path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600 );
        EXPECT_EQ( ::ftruncate( file, sizeof( Shared ) ), 0 );
        _memory = ::mmap( nullptr, sizeof( Shared ), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0 );
        ::close( file );
    }
    SharedFile( const SharedFile& ) = delete;
    SharedFile& operator=( const SharedFile& ) = delete;
    ~SharedFile() { ::munmap( _memory, sizeof( Shared ) ); }

    Shared& operator*() const { return *static_cast<Shared*>( _memory ); }
    Shared* operator->() const { return static_cast<Shared*>( _memory ); }

private:
    void* _memory;
};

} // namespace Qv
