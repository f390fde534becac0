#pragma once

#include <resmgt/osal/osFilePath.h>

#include <string>

namespace Qv {

/// A path as the text that this system's calls take.
///
/// What can name nothing here becomes the empty text, which every call refuses with ENOENT: a path
/// on a drive, which would be taken for a relative one, and a path that holds a zero byte, where
/// the calls would stop reading. A server's root loses its last separator, behind which only
/// directories are found.
///
/// Lifetime: `path` must outlive it, unchanged.
class NativePath {
public:
    explicit NativePath( const OsFilePath& path )
        : _text( path.getChars() ) {
        const std::string& text = path.toString();
        if( path.isAbsolute() && text[0] != '/' ) {
            _text = "";
        } else if( text.find( '\0' ) != std::string::npos ) {
            _text = "";
        } else if( text.size() > 1 && text.back() == '/' ) {
            _own.assign( text, 0, text.size() - 1 );
            _text = _own.c_str();
        }
    }
    NativePath( const NativePath& ) = delete;
    NativePath& operator=( const NativePath& ) = delete;

    const char* get() const noexcept { return _text; }

private:
    const char* _text;
    std::string _own;
};

} // namespace Qv
