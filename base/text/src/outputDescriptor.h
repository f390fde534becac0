#pragma once

#include <string_view>

/// Output through the operating system's file descriptors. A failed call raises ExSysErrorANSI.
namespace Qv::OutputDescriptor {

constexpr int STANDARD_OUTPUT = 1;

/// Opens the file for appending, creating it for this user alone if need be.
int open( const char* path );
void close( int descriptor ) noexcept;
bool isOpen( int descriptor ) noexcept;
/// Writes all of `text`, in one call if the system takes it so.
void write( int descriptor, std::string_view text );
bool isRegularFile( int descriptor );

} // namespace Qv::OutputDescriptor
