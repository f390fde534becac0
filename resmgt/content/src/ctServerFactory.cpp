#include <resmgt/content/ctServerFactory.h>

#include <base/failure/qvHere.h>
#include <base/locks/lkLock.h>
#include <resmgt/content/ctEx.h>
#include <resmgt/content/ctServer.h>

#include <algorithm>
#include <vector>

namespace Qv {

namespace {

struct Registry {
    const LkLock lock{ "CtServerFactory" };
    std::vector<CtServerFactory*> factories QV_GUARDED_BY( lock );
};

/// There on first use, and so before the first factory and until after the last one's end.
Registry& getRegistry() {
    static Registry registry;
    return registry;
}

std::vector<CtServerFactory*> getFactories() {
    Registry& registry = getRegistry();
    const LkGuard guard( registry.lock );
    return registry.factories;
}

} // namespace

CtServerFactory::CtServerFactory() {
    Registry& registry = getRegistry();
    const LkGuard guard( registry.lock );
    registry.factories.push_back( this );
}

CtServerFactory::~CtServerFactory() {
    Registry& registry = getRegistry();
    const LkGuard guard( registry.lock );
    std::erase( registry.factories, this );
}

OPtrRet<CtServer> CtServerFactory::createServer( const LiString& configuration ) {
    for( CtServerFactory* const factory : getFactories() ) {
        if( factory->canHandle( configuration ) ) {
            return OPtr<CtServer>( factory->create( configuration ) );
        }
    }
    throw CtEx::ExUnknownServerType( QV_HERE, configuration );
}

} // namespace Qv
