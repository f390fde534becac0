#pragma once

#include <base/containers/vector.h>
#include <base/qvBaseApi.h>

#include <typeinfo>

namespace Qv {

class InVariableBase;

/// Root of the package objects; what the frame knows of a package.
class QV_BASE_API InPackageInitBase {
public:
    InPackageInitBase() = default;
    InPackageInitBase( const InPackageInitBase& ) = default;
    InPackageInitBase& operator=( const InPackageInitBase& ) = default;
    virtual ~InPackageInitBase();

    /// Enters a configuration variable of the package; the frame resolves it before
    /// `initializePackage` runs.
    virtual void addDependency( InVariableBase* variable ) = 0;
    /// Takes such a variable out.
    virtual void removeDependency( InVariableBase* variable ) = 0;
    virtual const char* getName() const = 0;
    /// Runs before the package's variables have their values.
    virtual void preInitializePackage() = 0;
    /// Runs after the package's start.
    virtual void postInitializePackage() = 0;
    /// Starts the package, when all that it depends on has started.
    virtual void initializePackage() = 0;
    /// Stops the package, when all that depends on it has stopped.
    virtual void finalizePackage() = 0;
    /// Informs the package whether it is started.
    virtual void setPackageState( bool isStarted ) = 0;
};

/// A package with a name and declared dependencies, known to the frame from its construction on.
///
/// Threads: built on the loading thread by static initialisers; started and stopped on one thread,
///          never in parallel.
class QV_BASE_API InPackageInit : public InPackageInitBase {
public:
    /// `name` is kept, not copied.
    explicit InPackageInit( const char* name );
    InPackageInit( const InPackageInit& ) = delete;
    InPackageInit& operator=( const InPackageInit& ) = delete;
    /// Takes the package out of the frame.
    ~InPackageInit() override;

    void addDependency( InVariableBase* variable ) override;
    void removeDependency( InVariableBase* variable ) override;
    const char* getName() const override;

    /// The identities of the packages that must have started before this one.
    const Vector<const std::type_info*>& getDependencies() const { return _dependencies; }
    /// The package's configuration variables that are alive, in order of construction.
    const Vector<InVariableBase*>& getVariables() const { return _variables; }
    /// The package's own identity.
    virtual const std::type_info* getIdentity() const = 0;
    /// Whether the package provides sources of configuration values.
    bool isSourceProvider() const noexcept { return _isSourceProvider; }

protected:
    /// Makes the package known to the frame.
    void registerPackage();
    /// The package starts after `package`, and stops before it.
    void addDependency( const std::type_info* package );
    /// Declares that the package registers InContextAliasBuilders when it starts. With all that it
    /// depends on it starts before every other package, so that their variables have its sources.
    void provideSources() noexcept { _isSourceProvider = true; }

private:
    const char* const _name;
    Vector<const std::type_info*> _dependencies;
    Vector<InVariableBase*> _variables;
    bool _isSourceProvider = false;
};

} // namespace Qv
