#pragma once

#include <resmgt/logger/lgMinorGroup.h>

#include <atomic>
#include <optional>

/// Joins two words into one name, after both are expanded.
#define QV_XGLUE( a, b ) QV_GLUE( a, b )
/// The two words as one, as they stand.
#define QV_GLUE( a, b ) a##b

namespace Qv {

/// The place of a package's minor group, which is there from the package's start to its stop.
///
///     namespace Qv::LgGroups {
///     inline constinit LgPackageGroup MinorLevelRender( "Studio", "Render" );
///     }
///
///     LgGroups::MinorLevelRender.create( [] { startRendering(); } );   // at the package's start
///     QV_LOG( Render, Warning, "tile ", index, " is late" );
///     LgGroups::MinorLevelRender.destroy( [] { stopRendering(); } );   // at its stop
///
/// The name of the object is "MinorLevel" and the group's name, which `QV_LOG` puts together.
///
/// Without a group: a statement goes by the default threshold, and to standard output.
/// Threads:  `create` and `destroy` on one thread, as packages start and stop; the rest on any.
/// Lifetime: usable before any constructor and after any destructor has run; a statement under way
///           during `destroy` still finds the group.
class QV_RESMGT_API LgPackageGroup {
public:
    /// Both names are kept, not copied.
    constexpr LgPackageGroup( const char* majorName, const char* name ) noexcept
        : _majorName( majorName )
        , _name( name ) {}
    LgPackageGroup( const LgPackageGroup& ) = delete;
    LgPackageGroup& operator=( const LgPackageGroup& ) = delete;

    /// Makes the group. A group that is there already ends the process.
    void create();
    /// The same, then runs `start`, the rest of the package's start. If that raises there is no
    /// group.
    template <class Start>
    void create( const Start& start ) {
        create();
        try {
            start();
        } catch( ... ) {
            destroy();
            throw;
        }
    }
    /// Ends the group. A group that isn't there ends the process.
    void destroy();
    /// The same after `stop`, the rest of the package's stop, even if that raises.
    template <class Stop>
    void destroy( const Stop& stop ) {
        try {
            stop();
        } catch( ... ) {
            destroy();
            throw;
        }
        destroy();
    }

    /// The group, null before its creation and after its end.
    operator const LgMinorGroup*() const noexcept {
        return _majorGroup.load( std::memory_order_acquire ) != nullptr ? &*_group : nullptr;
    }
    const char* getName() const noexcept { return _name; }
    bool isLevelEnabled( LgTypes::Level l ) const noexcept {
        const LgMajorGroup* const majorGroup = _majorGroup.load( std::memory_order_acquire );
        return majorGroup != nullptr ? majorGroup->isLevelEnabled( l ) : isEnabledByDefault( l );
    }

private:
    static bool isEnabledByDefault( LgTypes::Level l ) noexcept;

    const char* const _majorName;
    const char* const _name;
    // Published behind _group, which stays as it is from the first creation on.
    std::atomic<const LgMajorGroup*> _majorGroup = nullptr;
    std::optional<LgMinorGroup> _group;
};

/// The groups of this library. The two spellings of the major group are two groups.
namespace LgGroups {

/// The group of the package dynamicAllocation.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelAllocation;
/// The group of the package content.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelContent;
/// The group of the package fileLocks.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelFileLocks;
/// The group of the package fileMonitoring.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelFileMonitoring;
/// The group of the package logger.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelLogger;
/// The group of the package memoryBuffers.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelMemoryBuffers;
/// The group of the package messages.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelMessages;
/// The group of the package threadExtensions.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelThreadExt;
/// The group of the package threads.
extern QV_RESMGT_API constinit LgPackageGroup MinorLevelThreads;

} // namespace LgGroups

} // namespace Qv
