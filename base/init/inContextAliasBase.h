#pragma once

#include <base/qvBaseApi.h>

#include <iosfwd>
#include <memory>

namespace Qv {

/// One source of a configuration value: where to look, and what was found there.
///
/// States:  uninitialized, until `initialize` sets what was found; then initialized, and valid when
///          there was a value; uninitialized again by `finalize`.
/// Copying: a copy has the same key, description and state, and is independent from then on.
/// Threads: any may read an alias that nobody changes; variables change theirs while packages
///          start.
class QV_BASE_API InContextAliasBase {
public:
    /// Both texts are copied.
    explicit InContextAliasBase( const char* key, const char* description = "" );
    InContextAliasBase( const InContextAliasBase& other );
    InContextAliasBase& operator=( const InContextAliasBase& ) = delete;
    virtual ~InContextAliasBase();

    /// Sources with a higher priority speak for one run of the program alone, as its command line
    /// and its environment do; the others for all runs.
    static constexpr int HIGHEST_LASTING_PRIORITY = 5;

    /// The name of the value in its source.
    virtual const char* getKey() const;
    /// By which a source is put among others that the variable doesn't name: see InVariableBase.
    virtual int getPriority() const = 0;
    /// A new copy with this object's dynamic type, owned by the caller.
    virtual InContextAliasBase* clone() const = 0;
    /// The source's name, such as "InInitEnv".
    virtual const char* getSourceString() const = 0;
    /// Looks the value up, and calls `initialize` with it.
    virtual void lookUp() = 0;
    /// Writes, for a dump of all sources, what this one holds that no variable asks for.
    virtual void dumpUnasked( std::ostream& stream ) const;

    /// Copies `value`; null says that the source has none.
    void initialize( const char* value );
    /// Gives the copy back.
    void finalize() noexcept;
    /// Null unless valid; stays until the next `initialize` or `finalize`.
    const char* getValue() const noexcept { return _value.get(); }
    const char* getDescription() const noexcept { return _description.get(); }
    bool isValid() const noexcept { return _value != nullptr; }
    bool isInitialized() const noexcept { return _isInitialized; }

protected:
    /// For the place holder, which must exist before any code runs.
    constexpr InContextAliasBase() noexcept = default;

private:
    std::unique_ptr<char[]> _key;
    std::unique_ptr<char[]> _description;
    std::unique_ptr<char[]> _value;
    bool _isInitialized = false;
};

} // namespace Qv
