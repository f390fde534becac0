#include <base/init/inInitGuard.h>
#include <base/init/src/inPackageFrame.h>

namespace Qv {

InInitGuard::InInitGuard( int&, const char* const*& ) {
    InPackageFrame::getInstance().start();
}

InInitGuard::~InInitGuard() {
    InPackageFrame::getInstance().stop();
}

} // namespace Qv
