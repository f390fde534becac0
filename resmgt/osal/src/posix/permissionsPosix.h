#pragma once

#include <resmgt/osal/osFileTypes.h>

namespace Qv {

/// The mode bits of a new file. The process's mask is the system's affair.
constexpr unsigned int fileMode( const OsFileTypes::Permissions& permissions ) {
    constexpr auto bits = []( int access ) {
        using OsFileTypes::Permissions;
        return ( ( access & Permissions::READ ) != 0 ? 4U : 0U ) |
               ( ( access & Permissions::WRITE ) != 0 ? 2U : 0U ) |
               ( ( access & Permissions::EXECUTE ) != 0 ? 1U : 0U );
    };
    return bits( permissions.owner ) << 6U | bits( permissions.group ) << 3U |
           bits( permissions.others );
}

/// The mode bits of a new directory: who may read it may search it.
constexpr unsigned int directoryMode( const OsFileTypes::Permissions& permissions ) {
    const unsigned int mode = fileMode( permissions );
    return mode | ( mode & 0444U ) >> 2U;
}

/// What a mode grants to the owner, the group and all others.
constexpr OsFileTypes::Permissions permissionsOf( unsigned int mode ) {
    const auto access = [mode]( int shift ) {
        using OsFileTypes::Permissions;
        const unsigned int bits = mode >> shift;
        return ( ( bits & 4U ) != 0 ? Permissions::READ : 0 ) |
               ( ( bits & 2U ) != 0 ? Permissions::WRITE : 0 ) |
               ( ( bits & 1U ) != 0 ? Permissions::EXECUTE : 0 );
    };
    return { access( 6 ), access( 3 ), access( 0 ) };
}

} // namespace Qv
