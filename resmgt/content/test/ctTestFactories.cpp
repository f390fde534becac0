#include <resmgt/content/test/ctTestStores.h>

namespace Qv {

namespace {

template <int NB_PLAIN, int NB_PRIO>
CtServer* makeBlocking( const LiString& configuration ) {
    return new BlockingStore( configuration, { NB_PLAIN, NB_PRIO, 2 } );
}

TestFactory factories[] = {
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
