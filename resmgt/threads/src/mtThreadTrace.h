#pragma once

#include <base/trace/traceManager.h>

#include <sstream>

namespace Qv {

/// The lines of threads on the trace level "MtThread". Tracing never changes what the traced thread
/// does: what there is no memory for is missing.
class MtThreadTrace {
public:
    MtThreadTrace() = delete;

    static TraceLevel& getLevel();
    static bool isOn() noexcept;

    /// One line, of the arguments, while the level is open.
    template <class... Args>
    static void print( const char* file, int line, const Args&... args ) noexcept {
        try {
            if( isOn() ) {
                std::ostringstream text;
                ( text << ... << args );
                TraceManager::getInstance().getTrace().log( text, file, line );
            }
        } catch( ... ) {
            Trace::printCurrentException( "MtThreadTrace", file, line );
        }
    }
};

} // namespace Qv
