#pragma once

#include <tools/qvcomp/descriptor.h>

#include <fcntl.h>
#include <unistd.h>

namespace Qv::Comp {

/// Until scope exit, what the libraries print to standard output goes nowhere: the log has it, and
/// standard output is the report's alone.
///
/// REQUIRES: nothing waits in the buffers of the language's own streams.
class QuietOutput {
public:
    QuietOutput()
        : _former( ::fcntl( STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1 ) ) {
        const Descriptor nowhere( ::open( "/dev/null", O_WRONLY | O_CLOEXEC ) );
        if( _former.isOpen() && nowhere.isOpen() ) {
            ::dup2( nowhere.get(), STDOUT_FILENO );
        }
    }
    QuietOutput( const QuietOutput& ) = delete;
    QuietOutput& operator=( const QuietOutput& ) = delete;
    ~QuietOutput() {
        if( _former.isOpen() ) {
            ::dup2( _former.get(), STDOUT_FILENO );
        }
    }

private:
    const Descriptor _former;
};

} // namespace Qv::Comp
