#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

/// The levels of log statements.
class QV_RESMGT_API LgTypes {
public:
    /// Lower numbers are graver. Tests of `isLevelEnabled` and thresholds go by the number; the
    /// names are those that `QV_LOG` takes.
    enum Level : int {
        InternalError,
        FatalError,
        Error,
        Warning,
        UserMessage,
        Support,
        Informational,
        Tracing,
        Profiling
    };
    /// How many levels there are.
    static constexpr int NUM_LEVELS = 9;

    /// The display name, as "Fatal Error". Another number than a level's is an assertion.
    static const char* getLevelName( Level l );
    /// The level with that display name, with case and blanks. Raises LgEx::InvalidLevelString for
    /// another text; a null pointer is an assertion.
    static Level getLevel( const char* name );
    /// The level's bit in the mask of a group.
    static constexpr unsigned int getLevelBit( Level l ) noexcept { return 1U << ( 9 - l ); }

    LgTypes() = delete;
};

} // namespace Qv
