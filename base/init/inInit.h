#pragma once

#include <base/init/inPackageInit.h>

namespace Qv {

namespace QvInit {

/// The tag of the package of libQVbase.
struct QV_BASE_API base {
    static const std::type_info* getType() noexcept;
};

} // namespace QvInit

/// The object of the package with the tag `T`, an empty class of the namespace QvInit; each package
/// has one static object of it, in its src folder:
///
///     template <>
///     InInit<QvInit::random>::InInit()
///         : InPackageInit( "random" ) {
///         registerPackage();
///         dependsOn<QvInit::base>();
///     }
///
///     namespace {
///     InInit<QvInit::random> package;
///     }
///
/// What it does at start and stop is a specialisation of `initializePackage` and
/// `finalizePackage`. Between construction and start no service of a package may be called.
///
/// Linking: a tag with a static `getType`, defined beside the package object, makes everybody who
///          names the package need its library, even where nothing else of it is used and the
///          linker drops what isn't. All tags of these libraries have one; a program's own tag
///          needs none.
template <class T>
class InInit final : public InPackageInit {
public:
    /// Declares name and dependencies; each package specialises it.
    InInit();

    /// The package's identity: the tag's type.
    static const std::type_info* getType() noexcept {
        if constexpr( requires { T::getType(); } ) {
            return T::getType();
        } else {
            return &typeid( T );
        }
    }

    void preInitializePackage() override {}
    void postInitializePackage() override {}
    void initializePackage() override {}
    void finalizePackage() override {}
    void setPackageState( bool isStarted ) override { _isStarted = isStarted; }
    const std::type_info* getIdentity() const override { return getType(); }

private:
    /// Declares that the packages with these tags start before this one.
    template <class... Tags>
    void dependsOn() {
        ( addDependency( InInit<Tags>::getType() ), ... );
    }

    static inline bool _isStarted = false;
};

} // namespace Qv
