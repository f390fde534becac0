#pragma once

#include <resmgt/resmgtApi.h>

#include <typeinfo>

/// The tags of the library's packages.
///
/// A tag's `getType` is defined with its package's object. Whoever names a package therefore needs
/// this library, and no linker drops it.
namespace Qv::QvInit {

/// The layer below the operating-system layer.
struct QV_RESMGT_API osSupport {
    static const std::type_info* getType() noexcept;
};

/// Counters, timers and profilers.
struct QV_RESMGT_API profiling {
    static const std::type_info* getType() noexcept;
};

/// Files, paths and processes.
struct QV_RESMGT_API osal {
    static const std::type_info* getType() noexcept;
};

/// Configuration values and environment variables.
struct QV_RESMGT_API initVars {
    static const std::type_info* getType() noexcept;
};

/// The install directory.
struct QV_RESMGT_API initInstallDir {
    static const std::type_info* getType() noexcept;
};

/// The application's init file.
struct QV_RESMGT_API initApp {
    static const std::type_info* getType() noexcept;
};

/// The configured directories.
struct QV_RESMGT_API initConfig {
    static const std::type_info* getType() noexcept;
};

/// Logging.
struct QV_RESMGT_API logger {
    static const std::type_info* getType() noexcept;
};

/// Locks, waiting, singletons and thread-local data.
struct QV_RESMGT_API locks {
    static const std::type_info* getType() noexcept;
};

/// Run-time types.
struct QV_RESMGT_API rtti {
    static const std::type_info* getType() noexcept;
};

/// The test harness.
struct QV_RESMGT_API testing {
    static const std::type_info* getType() noexcept;
};

/// Messages to the user.
struct QV_RESMGT_API messages {
    static const std::type_info* getType() noexcept;
};

/// Strings, rates and timecodes.
struct QV_RESMGT_API literals {
    static const std::type_info* getType() noexcept;
};

/// Threads and their priorities.
struct QV_RESMGT_API threads {
    static const std::type_info* getType() noexcept;
};

/// Thread pools and request groups.
struct QV_RESMGT_API threadExtensions {
    static const std::type_info* getType() noexcept;
};

/// Storage for buffer contents.
struct QV_RESMGT_API content {
    static const std::type_info* getType() noexcept;
};

/// Random number generators.
struct QV_RESMGT_API random {
    static const std::type_info* getType() noexcept;
};

/// Arenas and their sources.
struct QV_RESMGT_API dynamicAllocation {
    static const std::type_info* getType() noexcept;
};

/// Managed buffers.
struct QV_RESMGT_API memoryBuffers {
    static const std::type_info* getType() noexcept;
};

/// Subjects and observers.
struct QV_RESMGT_API observers {
    static const std::type_info* getType() noexcept;
};

/// XML.
struct QV_RESMGT_API xml {
    static const std::type_info* getType() noexcept;
};

/// Predicates.
struct QV_RESMGT_API predicate {
    static const std::type_info* getType() noexcept;
};

/// The reference clock.
struct QV_RESMGT_API discreteTimeImp {
    static const std::type_info* getType() noexcept;
};

/// Tool tips.
struct QV_RESMGT_API tooltips {
    static const std::type_info* getType() noexcept;
};

/// File monitoring.
struct QV_RESMGT_API fileMonitoring {
    static const std::type_info* getType() noexcept;
};

/// Advisory file locks.
struct QV_RESMGT_API fileLocks {
    static const std::type_info* getType() noexcept;
};

/// Crash reports.
struct QV_RESMGT_API crashReport {
    static const std::type_info* getType() noexcept;
};

/// Usage metrics.
struct QV_RESMGT_API usageMetrics {
    static const std::type_info* getType() noexcept;
};

/// The top package, which depends on all others: a program that names it has them all.
struct QV_RESMGT_API resmgt {
    static const std::type_info* getType() noexcept;
};

} // namespace Qv::QvInit
