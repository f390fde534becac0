#pragma once

#include <base/init/inContextAliasBase.h>
#include <base/init/inUtils.h>

#include <memory>
#include <set>

namespace Qv {

/// The keys that the living aliases of one source bear. Each key has one alias, its copies apart.
///
/// Threads: as package objects, used on the thread that loads libraries and starts packages.
class QV_BASE_API InContextAliasKeys {
public:
    /// Keys in the order of their text.
    using Set = std::set<const char*, InUtils::LtStr>;
    class Entry;

    /// Enters `key`, which is copied and not empty; it stays until the last copy of the result is
    /// gone. A key that is there already raises InEx::ExContextAliasAlreadyDefined.
    std::shared_ptr<const Entry> add( const char* key );
    /// The keys.
    const Set& get() const noexcept { return _keys; }

private:
    Set _keys;
};

/// The environment; the key is the variable's name.
struct QV_BASE_API InInitEnv {
    static constexpr int getPriority() noexcept { return 6; }
    static constexpr const char* getSourceString() noexcept { return "InInitEnv"; }
    /// Gives the variable the environment's value, if it has one.
    static void initialize( InContextAliasBase& alias );
};

/// A built-in default: the key is the value.
struct QV_BASE_API InInitDef {
    static constexpr int getPriority() noexcept { return 0; }
    static constexpr const char* getSourceString() noexcept { return "InInitDef"; }
    /// Gives the variable its default, if it has one.
    static void initialize( InContextAliasBase& alias );
};

/// The command line: with the key "log:" the argument "log:/tmp", or "log:" and "/tmp" after it.
struct QV_BASE_API InInitArg {
    static constexpr int getPriority() noexcept { return 7; }
    static constexpr const char* getSourceString() noexcept { return "InInitArg"; }
    /// Gives the variable the command line's value, if it has one.
    static void initialize( InContextAliasBase& alias );
    static InContextAliasKeys& getKeys();
};

/// An alias of the source `Source`. `N` is 1 for a source that tracks its keys, so that a second
/// alias with a key that is taken raises InEx::ExContextAliasAlreadyDefined; else 0.
///
/// A source is a class with the static operations of InInitEnv, and with `getKeys` when it tracks.
/// It may have `dumpUnasked`.
///
///     const InContextAlias<InInitEnv, 0> env( "QV_LOG_DIR", "Log directory" );
template <class Source, int N>
class InContextAlias final : public InContextAliasBase {
public:
    /// Both texts are copied; dumps show the description.
    explicit InContextAlias( const char* key, const char* description = "" )
        : InContextAliasBase( key, description ) {
        if constexpr( N == 1 ) {
            _entry = Source::getKeys().add( key );
        }
    }

    int getPriority() const override { return Source::getPriority(); }
    InContextAliasBase* clone() const override { return new InContextAlias( *this ); }
    const char* getSourceString() const override { return initSourceString(); }
    void lookUp() override { Source::initialize( *this ); }
    void dumpUnasked( std::ostream& stream ) const override {
        if constexpr( requires { Source::dumpUnasked( stream ); } ) {
            Source::dumpUnasked( stream );
        }
    }
    /// The source's name, for dumps.
    static const char* initSourceString() noexcept { return Source::getSourceString(); }

private:
    static_assert( N == 0 || N == 1 );

    std::shared_ptr<const InContextAliasKeys::Entry> _entry;
};

/// The sources that a program's own settings name.
using InArgument = InContextAlias<InInitArg, 1>;
/// A variable's name in the environment.
using InEnvironment = InContextAlias<InInitEnv, 0>;
/// A variable's default.
using InDefault = InContextAlias<InInitDef, 0>;

} // namespace Qv
