#pragma once

#include <string>
#include <string_view>

namespace Qv::MtThreadNamePosix {

/// What the system can show of a name, 15 bytes: the number at its end, and as many of the
/// characters before it as have room. Control characters and bytes that aren't UTF-8 become "?".
std::string makeShown( std::string_view name );

/// Has the system show the name for the calling thread.
void applyToCurrent( const std::string& name );

} // namespace Qv::MtThreadNamePosix
