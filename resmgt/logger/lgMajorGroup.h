#pragma once

#include <base/containers/vector.h>
#include <resmgt/logger/lgTypes.h>

#include <atomic>
#include <iosfwd>
#include <string>

namespace Qv {

/// A set of log groups that are switched together: one mask of the levels that are on.
///
/// Names:    `QV_LOG_GROUPS` and `parse` name major groups: `ResMgt=Warning,Resmgt=Tracing`. Blanks
///           belong to the names. Each pair sets the group's threshold, which opens its level and
///           all graver ones; "Profiling" opens that level alone and leaves the rest.
/// Default:  a new group has the default threshold, "Informational" unless it was set.
/// Threads:  any, between `initialize` and `finalize`. A change of levels takes effect when each
///           thread next reads the mask.
/// Lifetime: the storage of a group is never given back. After `finalize` a statement finds the
///           last levels; a group that is made again under its name has the same address.
/// Errors:   LgEx::InvalidLevelString for a text that names no level; an assertion for a number
///           that is none, for a null text, and for use outside `initialize` and `finalize`.
class QV_RESMGT_API LgMajorGroup {
public:
    /// The bit that no threshold opens.
    static constexpr unsigned int PROFILING_MASK = LgTypes::getLevelBit( LgTypes::Profiling );

    /// Begins with the mask of the current default threshold.
    LgMajorGroup() noexcept;
    LgMajorGroup( const LgMajorGroup& ) = delete;
    LgMajorGroup& operator=( const LgMajorGroup& ) = delete;

    /// Makes the tables, then reads `groups` as `parse` does unless it is null. After a failure
    /// there are no tables, as before.
    static void initialize( const char* groups );
    /// Ends the groups, at the package's stop.
    static void finalize();
    /// Sets the levels of the groups that `groups` names, and makes those that aren't there. All of
    /// it is read first: a text with an error changes nothing. A pair without a level is an
    /// assertion.
    static void parse( const char* groups );
    /// The group of that name, made if need be. The name is copied.
    static LgMajorGroup& getInstanceForName( const char* name );
    /// The groups that `parse` named and nobody has asked for so far, in the order of names.
    static Vector<std::string> getNamesNobodyAskedFor();

    /// For groups that are made from now on. Internal Error counts as Fatal Error; Profiling leaves
    /// new groups with that level alone.
    static void setDefaultThreshold( LgTypes::Level l );
    static LgTypes::Level getDefaultThreshold() noexcept;
    /// What a threshold opens. Profiling, which is none, gives its own bit.
    static unsigned int getLevelMask( LgTypes::Level l );

    /// As a pair of `parse` does; `clearProfiling` closes that level too where `l` is another.
    void setLogThreshold( LgTypes::Level l, bool clearProfiling );
    unsigned int getLogLevels() const noexcept {
        return _logLevels.load( std::memory_order_relaxed );
    }
    /// Whether the level's bit is set.
    bool isLevelEnabled( LgTypes::Level l ) const noexcept {
        return ( getLogLevels() & LgTypes::getLevelBit( l ) ) != 0;
    }

    /// The line "Major Groups:", then one line a group: its name and the levels that are on. The
    /// stream is left as it was.
    static void printAll( std::ostream& stream );

private:
    // Relaxed: a mask orders nothing.
    std::atomic<unsigned int> _logLevels;
};

} // namespace Qv
