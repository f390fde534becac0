#pragma once

#include <resmgt/initVars/inInitFileSource.h>

namespace Qv {

/// The application's init file. Where the application is installed nowhere, there is none.
struct QV_RESMGT_API InInitAppInitFile {
    static constexpr int getPriority() noexcept { return 2; }
    static constexpr const char* getSourceString() noexcept { return "InInitAppInitFile"; }
    /// Gives the variable the file's value, if it has one.
    static void initialize( InContextAliasBase& alias ) { get().initialize( alias ); }
    static InContextAliasKeys& getKeys() { return get().getKeys(); }
    /// Lists the keys of the file that no variable asks for.
    static void dumpUnasked( std::ostream& stream ) { get().dumpUnasked( stream ); }
    /// The application's init file as a source of values.
    static InInitFileSource& get();
    /// The base name of init files in "etc" of the install directory; empty when there is none.
    static OsFilePath getPath();
};

/// Makes the names by which variables are found in the application's init file.
using InContextAliasAppInitFileBuilder = InInitFileBuilder<InInitAppInitFile>;

} // namespace Qv
