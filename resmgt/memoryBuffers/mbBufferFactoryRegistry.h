#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class MbBufferFactory;

/// The factories that the parts of an application share, one a type.
///
/// Lifetime: from the start of the package memoryBuffers until its stop, which deletes the
///           factories. Their buffers may live on. Outside that time every operation raises
///           InSingletonEx::ExNotInitialized or InSingletonEx::ExAlreadyDestroyed.
/// Errors:   a second factory for a type, and a type without one, are assertions.
/// Threads:  any.
class QV_RESMGT_API MbBufferFactoryRegistry {
public:
    /// Which factory is meant.
    enum Type {
        /// Buffers of any kind.
        GENERAL,
        /// Image tiles.
        TILES,
        /// Content that no store keeps.
        SCRATCH
    };

    MbBufferFactoryRegistry() = delete;

    /// Takes the factory over, and gives it to those who ask for the type.
    static void registerFactory( Type factoryType, OPtr<MbBufferFactory> factory );
    static bool hasFactory( Type factoryType );
    /// The factory stays the registry's.
    static MbBufferFactory* getFactory( Type factoryType );
};

} // namespace Qv
