#include <base/text/exStdout.h>

#include <base/text/printable.h>
#include <base/text/src/outputDescriptor.h>

#include <mutex>
#include <utility>

namespace Qv {

namespace {

// Both must be usable before and after everything else in the process.
constinit std::mutex outputLock;
constinit int output = OutputDescriptor::STANDARD_OUTPUT;

bool isStandardOutputThere() {
    const std::lock_guard guard( outputLock );
    return output == OutputDescriptor::STANDARD_OUTPUT && OutputDescriptor::isOpen( output );
}

} // namespace

void ExStdout::initialize( const char* path ) {
    if( isStandardOutputThere() ) {
        return;
    }
    const int opened = OutputDescriptor::open( path );
    const std::lock_guard guard( outputLock );
    const int former = std::exchange( output, opened );
    if( former != OutputDescriptor::STANDARD_OUTPUT ) {
        OutputDescriptor::close( former );
    }
}

void ExStdout::printAtomically( const char* text ) {
    const std::string printable = Printable::makeText( text );
    const std::lock_guard guard( outputLock );
    OutputDescriptor::write( output, printable );
}

bool ExStdout::isRedirectedToAFile() {
    const std::lock_guard guard( outputLock );
    return OutputDescriptor::isRegularFile( output );
}

} // namespace Qv
