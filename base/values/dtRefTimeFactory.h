#pragma once

#include <base/ownership/oPtr.h>
#include <base/values/dtRefClockSource.h>

/// The process's reference clock.
///
/// Threads: `initialize` and `finalize` run while packages start and stop, alone; `getSource` is
///          for any thread between them.
namespace Qv::DtRefTimeFactory {

/// Installs `source`, which isn't null, until the package of this library stops. Raises
/// InSingletonEx::ExAlreadyInitialized if there is one.
QV_BASE_API void initialize( OPtr<DtRefClockSource> source );
/// Removes and deletes the source; without one nothing happens.
QV_BASE_API void finalize();
QV_BASE_API bool isInitialized() noexcept;
/// The installed source; raises an InSingletonEx without one.
QV_BASE_API const DtRefClockSource& getSource();

} // namespace Qv::DtRefTimeFactory
