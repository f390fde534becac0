#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Qv::Comp {

/// How a command ended.
struct Outcome {
    /// The exit status; minus the signal when one ended it.
    int status;
    std::string output;
    std::string errors;
};

/// Runs qvcomp inside of this process.
Outcome runInside( const std::vector<std::string>& arguments );

/// A program as a process of its own.
class ChildCommand {
public:
    /// `arguments` begin with the program.
    explicit ChildCommand( const std::vector<std::string>& arguments );
    ChildCommand( const ChildCommand& ) = delete;
    ChildCommand& operator=( const ChildCommand& ) = delete;
    ~ChildCommand();

    /// Returns once the process has a file open in `folder`.
    void waitForFileIn( const std::filesystem::path& folder ) const;
    void send( int signal ) const;
    /// Waits for its end.
    Outcome finish();

private:
    pid_t _pid;
    int _output;
    int _errors;
};

/// The value of a number in a report of the form json.
std::uint64_t getNumber( const std::string& report, const std::string& key );

std::string readFile( const std::filesystem::path& path );

} // namespace Qv::Comp
