#pragma once

#include <string>
#include <typeinfo>

namespace Qv {

/// The type's name as it is written in a program, where the platform can tell it.
std::string mbTypeName( const std::type_info& type );

} // namespace Qv
