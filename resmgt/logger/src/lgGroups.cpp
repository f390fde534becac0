#include <resmgt/logger/lgGroups.h>

#include <base/failure/assertions.h>

#include <cstdio>
#include <cstdlib>

namespace Qv {

namespace {

/// No exception: a package that starts twice, or stops without a start, is broken beyond repair.
void checkPlainly( bool condition, const char* name, const char* relation ) {
    if( !condition ) {
        std::fprintf( stderr, "Assertion failed: LgGroups::QV_XGLUE( MinorLevel, %s ) %s\n", name,
                      relation );
        std::abort();
    }
}

} // namespace

void LgPackageGroup::create() {
    checkPlainly( *this == nullptr, _name, "== 0" );
    const LgMajorGroup& majorGroup = LgMajorGroup::getInstanceForName( _majorName );
    if( !_group ) {
        _group.emplace( majorGroup, _name );
    }
    _majorGroup.store( &majorGroup, std::memory_order_release );
}

void LgPackageGroup::destroy() {
    checkPlainly( *this != nullptr, _name, "!= 0" );
    _majorGroup.store( nullptr, std::memory_order_relaxed );
}

bool LgPackageGroup::isEnabledByDefault( LgTypes::Level l ) noexcept {
    return ( LgMajorGroup::getLevelMask( LgMajorGroup::getDefaultThreshold() ) &
             LgTypes::getLevelBit( l ) ) != 0;
}

namespace LgGroups {

constinit LgPackageGroup MinorLevelAllocation( "Resmgt", "Allocation" );
constinit LgPackageGroup MinorLevelContent( "ResMgt", "Content" );
constinit LgPackageGroup MinorLevelFileLocks( "ResMgt", "FileLocks" );
constinit LgPackageGroup MinorLevelFileMonitoring( "ResMgt", "FileMonitoring" );
constinit LgPackageGroup MinorLevelLogger( "ResMgt", "Logger" );
constinit LgPackageGroup MinorLevelMemoryBuffers( "ResMgt", "MemoryBuffers" );
constinit LgPackageGroup MinorLevelMessages( "Resmgt", "Messages" );
constinit LgPackageGroup MinorLevelThreadExt( "ResMgt", "ThreadExt" );
constinit LgPackageGroup MinorLevelThreads( "ResMgt", "Threads" );

} // namespace LgGroups

} // namespace Qv
