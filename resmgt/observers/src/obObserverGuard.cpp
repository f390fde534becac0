#include <resmgt/observers/obObserverGuard.h>

#include <base/failure/assertions.h>
#include <resmgt/observers/obChangeManagerImp.h>

namespace Qv {

ObObserverGuard::ObObserverGuard( ObChangeManagerImp& manager, ObObserverAny* observer )
    : _manager( manager )
    , _observer( observer ) {
    QV_ASSERT( observer != 0 );
}

ObObserverGuard::~ObObserverGuard() {
    // Not noexcept( false ): what comes out of here ends the process, with its text.
    remove();
}

bool ObObserverGuard::subscribe( ObSubjectAny* subject ) {
    return _manager.subscribeRelation( subject, _observer );
}

void ObObserverGuard::remove() {
    if( _observer != nullptr ) {
        _manager.removeObserver( _observer );
        _observer = nullptr;
    }
}

} // namespace Qv
