#include <base/init/inInitGuard.h>

#include <base/failure/assertions.h>
#include <base/init/inContextAliasMgrBase.h>
#include <base/init/src/inPackageFrame.h>

namespace Qv {

namespace {

template <class Argv>
void startPackages( int& argc, Argv& argv ) {
    QV_ASSERT( !InPackageFrame::getInstance().isStarted() );
    InContextAliasMgrBase::bindArguments( argc, argv );
    InPackageFrame::getInstance().start();
}

} // namespace

InInitGuard::InInitGuard( int& argc, const char* const*& argv ) {
    startPackages( argc, argv );
}

InInitGuard::InInitGuard( int& argc, char**& argv ) {
    startPackages( argc, argv );
}

InInitGuard::~InInitGuard() {
    InPackageFrame::getInstance().stop();
}

} // namespace Qv
