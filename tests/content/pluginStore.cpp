#include <resmgt/content/ctServerFactory.h>
#include <resmgt/content/test/ctTestStores.h>

namespace Qv {

namespace {

/// Registers itself when the plug-in is loaded, and goes with it.
class PluginFactory : public CtServerFactory {
public:
    bool canHandle( const LiString& configuration ) override {
        return configuration.starts_with( "plugin://" );
    }
    CtServer* create( const LiString& configuration ) override {
        return new BlockingStore( configuration );
    }
} factory;

} // namespace

} // namespace Qv
