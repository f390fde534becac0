#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

class OsFilePath;

/// Relations between paths, by their components alone; no file is looked at.
class QV_RESMGT_API OsFilePathUtils {
public:
    OsFilePathUtils() = delete;

    /// Whether the components of `ancestor` are the first ones of `path`, and `path` has more. The
    /// empty path is an ancestor of all others.
    static bool isAncestor( const OsFilePath& ancestor, const OsFilePath& path );

    /// Moves `path` from `from` to `to`: what `path` has behind the components of `from` is put
    /// behind `to`. False, with `path` unchanged, when `path` doesn't begin with `from`.
    ///
    /// Errors: OsFileEx::ExIllegalPathConcat when `from` is empty, `path` absolute and `to` not
    ///         empty; `path` is unchanged.
    static bool relocate( const OsFilePath& from, const OsFilePath& to, OsFilePath& path );
};

} // namespace Qv
