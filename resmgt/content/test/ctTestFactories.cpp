#include <resmgt/content/ctServerFactory.h>
#include <resmgt/content/test/ctTestStores.h>

namespace Qv {

namespace {

/// Recognises the configurations that begin with a scheme.
class Factory : public CtServerFactory {
public:
    using Make = CtServer* (*)( const LiString& configuration );

    Factory( const char* scheme, Make make )
        : _scheme( scheme )
        , _make( make ) {}

    bool canHandle( const LiString& configuration ) override {
        return configuration.starts_with( _scheme );
    }
    CtServer* create( const LiString& configuration ) override { return _make( configuration ); }

private:
    const std::string _scheme;
    const Make _make;
};

template <int NB_PLAIN, int NB_PRIO>
CtServer* makeBlocking( const LiString& configuration ) {
    return new BlockingStore( configuration, { NB_PLAIN, NB_PRIO, 2 } );
}

Factory factories[] = {
    { "memory://", &makeBlocking<4, 2> },
    { "plain://", &makeBlocking<2, 0> },
    { "inline://", &makeBlocking<0, 0> },
    { "event://",
      []( const LiString& configuration ) -> CtServer* {
          return new EventStore( configuration );
      } },
};

} // namespace

} // namespace Qv
