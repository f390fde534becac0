#pragma once

#include <resmgt/initVars/inInitFileSource.h>

namespace Qv {

/// The user's init file, at InInitFile::getUserInitFilePath. Where the user has no home directory,
/// and nothing else names the file, there is none.
struct QV_RESMGT_API InInitUserInitFile {
    static constexpr int getPriority() noexcept { return 3; }
    static constexpr const char* getSourceString() noexcept { return "InInitUserInitFile"; }
    /// Gives the variable the file's value, if it has one.
    static void initialize( InContextAliasBase& alias ) { get().initialize( alias ); }
    static InContextAliasKeys& getKeys() { return get().getKeys(); }
    /// Lists the keys of the file that no variable asks for.
    static void dumpUnasked( std::ostream& stream ) { get().dumpUnasked( stream ); }
    /// The user's init file as a source of values.
    static InInitFileSource& get();
};

/// Makes the names by which variables are found in the user's init file.
using InContextAliasUserInitFileBuilder = InInitFileBuilder<InInitUserInitFile>;

} // namespace Qv
