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

class QV_BASE_API InSingletonEx::ExNotInitialized
    : public ExCloneable<InSingletonEx::ExNotInitialized, InSingletonEx> {
public:
    ExNotInitialized( const char* file, int line, const char* singletonName );
};

class QV_BASE_API InSingletonEx::ExAlreadyInitialized
    : public ExCloneable<InSingletonEx::ExAlreadyInitialized, InSingletonEx> {
public:
    ExAlreadyInitialized( const char* file, int line, const char* singletonName );
};

class QV_BASE_API InSingletonEx::ExAlreadyDestroyed
    : public ExCloneable<InSingletonEx::ExAlreadyDestroyed, InSingletonEx> {
public:
    ExAlreadyDestroyed( const char* file, int line, const char* singletonName );
};

class QV_BASE_API InSingletonEx::ExNotDestroyed
    : public ExCloneable<InSingletonEx::ExNotDestroyed, InSingletonEx> {
public:
    ExNotDestroyed( const char* file, int line, const char* singletonName );
};

} // namespace Qv
