#pragma once

#include <resmgt/initVars/inInitFileSource.h>

namespace Qv {

/// The application's init file. Where the application is installed nowhere, there is none.
struct QV_RESMGT_API InInitAppInitFile {
    static constexpr int getPriority() noexcept { return 2; }
    static constexpr const char* getSourceString() noexcept { return "InInitAppInitFile"; }
    static void initialize( InContextAliasBase& alias ) { get().initialize( alias ); }
    static InContextAliasKeys& getKeys() { return get().getKeys(); }
    static void dumpUnasked( std::ostream& stream ) { get().dumpUnasked( stream ); }
    static InInitFileSource& get();
    /// The base name of init files in "etc" of the install directory; empty when there is none.
    static OsFilePath getPath();
};

using InContextAliasAppInitFileBuilder = InInitFileBuilder<InInitAppInitFile>;

} // namespace Qv
