#include <base/init/inSingletonEx.h>

#include <string>

namespace Qv {

InSingletonEx::InSingletonEx( const char* file, int line, const char* singletonName,
                              const char* state )
    : ExBase( file, line ) {
    setReason( ( std::string( "Singleton " ) + singletonName + ' ' + state + '.' ).c_str() );
}

InSingletonEx::ExNotInitialized::ExNotInitialized( const char* file, int line,
                                                   const char* singletonName )
    : ExCloneable( file, line, singletonName, "isn't initialized" ) {}

InSingletonEx::ExAlreadyInitialized::ExAlreadyInitialized( const char* file, int line,
                                                           const char* singletonName )
    : ExCloneable( file, line, singletonName, "is already initialized" ) {}

InSingletonEx::ExAlreadyDestroyed::ExAlreadyDestroyed( const char* file, int line,
                                                       const char* singletonName )
    : ExCloneable( file, line, singletonName, "is already destroyed" ) {}

InSingletonEx::ExNotDestroyed::ExNotDestroyed( const char* file, int line,
                                               const char* singletonName )
    : ExCloneable( file, line, singletonName, "isn't destroyed" ) {}

} // namespace Qv
