#pragma once

#include <base/failure/exBase.h>

#include <cstddef>
#include <iosfwd>

namespace Qv {

/// Looks for memory that a scope allocates and doesn't give back.
///
/// It compares the bytes that are in use on the heap, of the whole process: what other threads do
/// meanwhile counts too. With a sanitizer's allocator loaded the number is exact, and growth is a
/// leak. Without one it comes from the C library, which counts blocks as used that it keeps for the
/// thread that freed them: growth is reported as an estimate, and never raised.
///
///     HmGC leaks( true );
///     leaks.setOutput( &std::cerr );
///     runTests();
///     leaks.setActive( false );
///
/// Threads: an object belongs to one thread.
class QV_BASE_API HmGC {
public:
    class ExLeak;

    /// Begins at once when `isActive`.
    explicit HmGC( bool isActive );
    HmGC( const HmGC& ) = delete;
    HmGC& operator=( const HmGC& ) = delete;
    /// Ends as `setActive( false )` does, but raises nothing while an exception is under way.
    ~HmGC() noexcept( false );

    /// True begins to measure, false ends it and reports; the state that holds already is left.
    ///
    /// Errors: ExLeak at the end, if that was asked for.
    void setActive( bool isActive );
    /// Whether an end without growth is reported as well. Off at first.
    void setForceSummary( bool isForced ) noexcept { _isSummaryForced = isForced; }
    /// The stream of reports, standard error at first; null keeps silent. The stream stays the
    /// caller's.
    void setOutput( std::ostream* output ) noexcept { _output = output; }
    /// Whether a report of growth shows the call stack of the scope's end. Off at first.
    void setStackDump( bool isDumped ) noexcept { _isStackDumped = isDumped; }
    /// Whether a leak raises ExLeak. Off at first.
    void setThrowException( bool isThrown ) noexcept { _isExceptionThrown = isThrown; }

    /// Whether an allocator is loaded that counts exactly.
    static bool isMemDebugLoaded() noexcept;

private:
    void report( std::ptrdiff_t growth ) const;

    std::ostream* _output;
    std::size_t _nbBytesAtStart = 0;
    bool _isActive = false;
    bool _isSummaryForced = false;
    bool _isStackDumped = false;
    bool _isExceptionThrown = false;
};

/// A scope has leaked memory.
class QV_BASE_API HmGC::ExLeak : public ExCloneable<HmGC::ExLeak, ExBase> {
public:
    ExLeak( const char* file, int line, std::ptrdiff_t nbBytes );
};

} // namespace Qv
