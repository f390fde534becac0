#pragma once

#include <base/init/inContextAlias.h>
#include <base/init/inContextAliasBuilder.h>
#include <base/init/inVariableBase.h>
#include <resmgt/initVars/inInitFile.h>

#include <iosfwd>
#include <optional>
#include <string>

namespace Qv {

/// An init file as a source of configuration variables: it is read when it is first needed, and
/// kept until `finalize`.
///
/// Threads: as configuration variables.
/// Errors:  a malformed file raises the exceptions of InTextFileEx whenever it is asked.
class QV_RESMGT_API InInitFileSource {
public:
    /// Reads the file when its first value is asked for.
    using Read = InInitFile ( * )();

    /// `description` is kept.
    InInitFileSource( const char* description, Read read ) noexcept
        : _description( description )
        , _read( read ) {}

    const InInitFile& getFile();
    /// For the aliases: what they are, and which file they stand for.
    std::string getDescription();
    InContextAliasKeys& getKeys() noexcept { return _keys; }
    /// Gives the variable the file's value, if it has one.
    void initialize( InContextAliasBase& alias );
    /// Writes the keys of the file that no variable asks for, each with the most similar one that a
    /// variable has.
    void dumpUnasked( std::ostream& stream );
    /// Forgets what was read.
    void finalize() noexcept { _file.reset(); }

private:
    const char* const _description;
    const Read _read;
    InContextAliasKeys _keys;
    std::optional<InInitFile> _file;
};

/// Gives each variable the init file of `Source` as a source, under the variable's own key.
template <class Source>
class InInitFileBuilder final : public InContextAliasBuilder {
public:
    OPtrRet<InContextAliasBase> build( const InVariableBase& variable ) override {
        return OPtr<InContextAliasBase>( new InContextAlias<Source, 1>(
            variable.getKey(), Source::get().getDescription().c_str() ) );
    }
};

} // namespace Qv
