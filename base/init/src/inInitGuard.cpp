#include <base/failure/assertions.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/inInitGuard.h>
#include <base/init/src/inPackageFrame.h>

namespace Qv {

InInitGuard::InInitGuard( int& argc, const char* const*& argv ) {
    QV_ASSERT( !InPackageFrame::getInstance().isStarted() );
    InContextAliasMgrBase::bindArguments( argc, argv );
    InPackageFrame::getInstance().start();
}

InInitGuard::~InInitGuard() {
    InPackageFrame::getInstance().stop();
}

} // namespace Qv
