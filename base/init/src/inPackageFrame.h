#pragma once

#include <base/init/inPackageInit.h>

#include <vector>

namespace Qv {

/// Starts packages in dependency order and stops them in the exact reverse.
///
/// Packages that provide sources of configuration values start before all that they don't depend
/// on. The rest of the order is that of the names and the declared dependencies, so that the order
/// of linking decides nothing. A package that joins after the start stays unstarted.
///
/// Threads: the caller sees to it that one thread at a time is in here.
class InPackageFrame {
public:
    /// The process's frame; lives until the process ends.
    static InPackageFrame& getInstance();

    /// A second package with the same identity is an assertion.
    void add( InPackageInit& package );
    void remove( InPackageInit& package ) noexcept;

    /// Nothing has started when an unknown dependency or a cycle is raised. When a package's start
    /// raises, what had started is stopped first, and so is that package if its
    /// `initializePackage` had ended.
    void start();
    /// Reports what a package raises and goes on.
    void stop() noexcept;
    bool isStarted() const noexcept { return _isStarted; }
    /// In the order of their start.
    const std::vector<InPackageInit*>& getStartedPackages() const noexcept {
        return _startedPackages;
    }

private:
    std::vector<InPackageInit*> orderByDependency() const;
    InPackageInit* find( const std::type_info& identity ) const noexcept;
    void startPackage( InPackageInit& package );

    std::vector<InPackageInit*> _packages;
    std::vector<InPackageInit*> _startedPackages;
    bool _isStarted = false;
};

} // namespace Qv
