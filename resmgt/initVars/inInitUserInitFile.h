#pragma once

#include <resmgt/initVars/inInitFileSource.h>

namespace Qv {

/// The user's init file, at InInitFile::getUserInitFilePath. Where the user has no home directory,
/// and nothing else names the file, there is none.
struct QV_RESMGT_API InInitUserInitFile {
    static constexpr int getPriority() noexcept { return 3; }
    static constexpr const char* getSourceString() noexcept { return "InInitUserInitFile"; }
    static void initialize( InContextAliasBase& alias ) { get().initialize( alias ); }
    static InContextAliasKeys& getKeys() { return get().getKeys(); }
    static void dumpUnasked( std::ostream& stream ) { get().dumpUnasked( stream ); }
    static InInitFileSource& get();
};

using InContextAliasUserInitFileBuilder = InInitFileBuilder<InInitUserInitFile>;

} // namespace Qv
