#pragma once

#include <tests/qvcomp/testImages.h>

#include <tests/support/tempDirectory.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Qv::Comp {

using Arguments = std::vector<std::string>;

/// How a command ended.
struct Outcome {
    /// The exit status; minus the signal when one ended it.
    int status;
    std::string output;
    std::string errors;
};

/// Runs qvcomp inside of this process.
Outcome runInside( const Arguments& arguments );

/// A program as a process of its own.
class ChildCommand {
public:
    /// `arguments` begin with the program.
    explicit ChildCommand( const Arguments& arguments );
    ChildCommand( const ChildCommand& ) = delete;
    ChildCommand& operator=( const ChildCommand& ) = delete;
    ~ChildCommand();

    void send( int signal ) const;
    /// Returns when it stands still, until SIGCONT.
    void stop() const;
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

/// Each test has folders of its own for the layers, the outputs and the tiles on the disk.
class QvcompTest : public ::testing::Test {
protected:
    /// A whole command line, except for the program; of an option that `more` has too, that counts.
    Arguments makeArguments( const Arguments& more = {} ) const;
    /// The same with the program.
    Arguments makeCommand( const Arguments& more = {} ) const;
    /// The report of a run that goes well.
    std::string run( const Arguments& more = {} ) const;

    /// Where the command keeps tiles.
    std::filesystem::path getCache() const;
    /// The blocks that are there.
    std::vector<std::filesystem::path> listBlocks() const;

    std::filesystem::path getOutput() const { return _outputs.path() / "out.exr"; }
    std::filesystem::path getPreview() const { return _outputs.path() / "out.png"; }

    TempDirectory _inputs;
    TempDirectory _outputs;
    TempDirectory _scratch;
    Arguments _layers = writeLayers( _inputs.path() );
};

} // namespace Qv::Comp
