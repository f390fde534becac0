#pragma once

#include <resmgt/logger/lgMajorGroup.h>

#include <string>

namespace Qv {

/// The group of a log statement: a name of its own in the line, and the levels of a major group.
///
/// Threads: any.
class QV_RESMGT_API LgMinorGroup {
public:
    /// The width of the name in a log line.
    static constexpr int NAME_WIDTH = 15;

    /// Both are kept, not copied. A null name is an assertion.
    LgMinorGroup( const LgMajorGroup& majorGroup, const char* name );

    bool isLevelEnabled( LgTypes::Level l ) const noexcept {
        return _majorGroup->isLevelEnabled( l );
    }
    const char* getName() const noexcept { return _name; }
    /// The name with blanks behind it up to `width`; a longer name isn't cut.
    std::string getFormattedName( int width ) const;

private:
    const LgMajorGroup* _majorGroup;
    const char* _name;
};

} // namespace Qv
