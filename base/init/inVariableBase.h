#pragma once

#include <base/containers/vector.h>
#include <base/init/inContextAliasBase.h>

#include <initializer_list>
#include <memory>
#include <vector>

namespace Qv {

class InContextAliasBuilder;
class InPackageInitBase;

/// A configuration variable without its type.
///
/// Sources:  the aliases that the variable names, in that order; the first with a value wins. Those
///           that builders make stand together, the one with the highest priority first, before the
///           first named one with a lasting priority: behind the command line and the environment,
///           before the registry and a built-in default. Every variable has those, whatever order
///           the libraries are linked in, but for the variables of the packages that such a
///           builder's own package is or depends on: initVars has neither init file, and
///           initInstallDir hasn't the application's, which is found through its variable.
/// Bad text: a value that isn't of the variable's type is reported through Trace, with variable,
///           source and text, and passed over: the next source is tried.
/// Lifetime: between construction and the start of its package a variable isn't valid; the package
///           outlives it.
/// Threads:  built, resolved and destroyed where packages are; read from any thread after that.
class QV_BASE_API InVariableBase {
public:
    InVariableBase( const InVariableBase& ) = delete;
    InVariableBase& operator=( const InVariableBase& ) = delete;
    virtual ~InVariableBase();

    const char* getKey() const noexcept { return _key; }
    /// Whether a source had a value.
    bool isValid() const noexcept { return _origin != nullptr; }
    /// The source that gave the value; null when there is none. It stays until the next `resolve`,
    /// as do those below.
    const InContextAliasBase* getOrigin() const noexcept { return _origin; }
    /// All sources in the order in which they count; each knows whether it has a value. A value
    /// before the origin is a malformed one. Empty before the first `resolve`.
    const Vector<const InContextAliasBase*>& getSources() const noexcept { return _sources; }
    /// Asks all sources; the frame calls it before the package's `initializePackage`. Each start
    /// asks anew. When a source raises, the variable isn't valid.
    void resolve();

    /// A builder serves the variables that are resolved from now on. It stays the caller's, who
    /// unregisters it before its end.
    static void registerAppContextAliasBuilders( InContextAliasBuilder* builder );
    /// The same for the user's; where priorities are the same, they come before the
    /// application's.
    static void registerUserContextAliasBuilders( InContextAliasBuilder* builder );
    /// Take all builders of the kind away; variables keep what they have.
    static void unregisterAppContextAliasBuilders();
    /// Variables get no more names from them.
    static void unregisterUserContextAliasBuilders();

    /// Stands in the places for aliases that a variable doesn't need.
    static const InContextAliasBase& _dummy;

protected:
    /// `key` is kept; the aliases are copied.
    InVariableBase( const char* key, InPackageInitBase& package,
                    std::initializer_list<const InContextAliasBase*> aliases );

    /// Takes a value from its text, which stays until the next `resolve`; answers whether it can.
    virtual bool setValue( const char* text ) = 0;
    /// Back to the value of a variable that isn't valid.
    virtual void resetValue() noexcept = 0;

private:
    using Aliases = std::vector<std::unique_ptr<InContextAliasBase>>;

    void orderSources();
    Aliases buildAliases() const;
    bool takeValue( const InContextAliasBase& alias );

    const char* const _key;
    InPackageInitBase& _package;
    Aliases _namedAliases;
    Aliases _builtAliases;
    Vector<const InContextAliasBase*> _sources;
    const InContextAliasBase* _origin = nullptr;
};

} // namespace Qv
