// A program that uses nothing of the libraries but a setting of its own, whose package depends on
// the package with the tag OUTSIDE_DEPENDS_ON. The value stands in the user's init file, which
// libQVresmgt reads.

#include <base/init/inInit.h>
#include <base/init/inInitGuard.h>
#include <base/init/inVariable.h>
#include <resmgt/resmgtPackages.h>

#include <cstdio>

namespace Qv {

namespace QvInit {

struct outside {};

} // namespace QvInit

template <>
InInit<QvInit::outside>::InInit()
    : InPackageInit( "outside" ) {
    registerPackage();
    dependsOn<QvInit::OUTSIDE_DEPENDS_ON>();
}

namespace {

InInit<QvInit::outside> package;
const InVariable<int> columns( "outside::columns", package );

} // namespace

} // namespace Qv

int main( int argc, char** argv ) {
    const Qv::InInitGuard packages( argc, argv );
    std::printf( "%d columns\n", Qv::columns.getValue() );
}
