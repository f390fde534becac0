#pragma once

#include <base/failure/exStandard.h>

namespace Qv {

/// The family of the errors of explicitly started singletons.
class QV_BASE_API InSingletonEx : public ExBase {
public:
    class ExNotInitialized;
    class ExAlreadyInitialized;
    class ExAlreadyDestroyed;
    class ExNotDestroyed;

protected:
    /// `state` completes the message "Singleton <name> ...".
    InSingletonEx( const char* file, int line, const char* singletonName, const char* state );
};

/// The singleton is asked for before its start.
class QV_BASE_API InSingletonEx::ExNotInitialized
    : public ExCloneable<InSingletonEx::ExNotInitialized, InSingletonEx> {
public:
    ExNotInitialized( const char* file, int line, const char* singletonName );
};

/// The singleton is started a second time.
class QV_BASE_API InSingletonEx::ExAlreadyInitialized
    : public ExCloneable<InSingletonEx::ExAlreadyInitialized, InSingletonEx> {
public:
    ExAlreadyInitialized( const char* file, int line, const char* singletonName );
};

/// The singleton is asked for or stopped after its end.
class QV_BASE_API InSingletonEx::ExAlreadyDestroyed
    : public ExCloneable<InSingletonEx::ExAlreadyDestroyed, InSingletonEx> {
public:
    ExAlreadyDestroyed( const char* file, int line, const char* singletonName );
};

/// The singleton is left when the program ends.
class QV_BASE_API InSingletonEx::ExNotDestroyed
    : public ExCloneable<InSingletonEx::ExNotDestroyed, InSingletonEx> {
public:
    ExNotDestroyed( const char* file, int line, const char* singletonName );
};

} // namespace Qv
