#pragma once

#include <base/init/inPackageInit.h>

namespace Qv {

namespace QvInit {

/// The tag of the package of libQVbase.
struct QV_BASE_API base {};

} // namespace QvInit

/// The object of the package with the tag `T`, an empty class of the namespace QvInit; each package
/// has one static object of it, in its src folder:
///
///     template <>
///     InInit<QvInit::random>::InInit() : InPackageInit( "random" ) {
///         registerPackage();
///         addDependency( InInit<QvInit::base>::getType() );
///     }
///
///     namespace {
///     InInit<QvInit::random> package;
///     }
///
/// What it does at start and stop is a specialisation of `initializePackage` and
/// `finalizePackage`. Between construction and start no service of a package may be called.
template <class T>
class InInit final : public InPackageInit {
public:
    /// Declares name and dependencies; each package specialises it.
    InInit();

    /// The package's identity.
    static const std::type_info* getType() noexcept { return &typeid( T ); }

    void preInitializePackage() override {}
    void postInitializePackage() override {}
    void initializePackage() override {}
    void finalizePackage() override {}
    void setPackageState( bool isStarted ) override { _isStarted = isStarted; }
    const std::type_info* getIdentity() const override { return getType(); }

private:
    static inline bool _isStarted = false;
};

} // namespace Qv
