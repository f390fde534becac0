#pragma once

#include <base/callbacks/cbHandler.h>
#include <base/containers/iterator.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>
#include <string>

namespace Qv {

/// Expands patterns such as "<TempFolder>" in texts.
///
/// Patterns: those that packages register for all, and those that were added to this object and its
///           copies, which go first. They apply in one pass from left to right, the longest at a
///           place; what a value brings in isn't searched again. Other text stays as it is.
/// Handlers: a pattern's handler is called when the pattern is met, with the pattern's text, and
///           puts the value in its place. It runs under the registry's lock and must neither
///           register nor substitute anything.
/// Threads:  any for the static operations and `substitute`; `addPattern` needs outer order.
/// Errors:   what is registered twice aborts the program. What a handler raises goes on.
class QV_RESMGT_API LiStringSubstituter {
public:
    /// For the start and stop of the package: no pattern may be left.
    static void initialize();
    /// Ends the registry of patterns, at the package's stop.
    static void finalize();

    /// Registers a handler for whatever stands between "<" and the next ">", without a "<", and is
    /// no pattern: it is called with that, brackets included, and leaves what it doesn't know as it
    /// is. The first registered that knows it counts. The handler must live until it is
    /// unregistered.
    static void registerPatternHandler( CbHandler<std::string>* handler );
    /// The handler isn't called any more.
    static void unregisterPatternHandler( const CbHandler<std::string>* handler );
    /// Several patterns may share a handler. An empty pattern is an assertion, and so is a null
    /// handler here and above.
    static void registerPattern( const std::string& pattern, CbHandler<std::string>* handler );
    /// Removes all patterns of the handler.
    static void unregisterPattern( const CbHandler<std::string>* handler );

    LiStringSubstituter();
    LiStringSubstituter( const LiStringSubstituter& other );
    LiStringSubstituter& operator=( const LiStringSubstituter& other );
    ~LiStringSubstituter();

    /// A pattern of this object and its copies; a former value of it is replaced.
    void addPattern( const std::string& pattern, const std::string& value );
    /// All patterns as they are now, in alphabetic order.
    ConstIterator<std::string> getPatterns() const;
    /// The text with each pattern replaced by what its handler makes of it.
    std::string substitute( const std::string& text ) const;
    /// Writes the patterns.
    void dump( std::ostream& stream ) const;

private:
    class Table;

    RCShdPtr<Table> _table;
};

} // namespace Qv
