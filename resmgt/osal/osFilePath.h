#pragma once

#include <resmgt/osal/osLazyText.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// A path of the file system, as a list of components; the same on every platform. Two spellings of
/// one path are equal and print the same normal form; docs/paths.md shows how texts become paths.
///
/// Text:     "/" and "\" separate, only "/" is printed. Narrow text is UTF-8; bytes that aren't
///           survive, also through wide text, and so do zero bytes. Whether a file's name may hold
///           them is for whoever opens the file to refuse.
/// Roots:    "/", "C:/", "//server/" and "//server/share/" are the first component of an absolute
///           path. They alone end with "/".
/// Names:    every other component is a name, "." or "..", and holds no separator. A relative path
///           can begin with a name such as "c:" when the text is "./c:"; it prints so too, since
///           "c:" is a drive.
/// Files:    none is looked at, except by `getAbsolutePath` and the well-known directories.
/// Threads:  what is const is for any number of threads at once, also where it makes a text.
/// Errors:   every text is a path. After an exception the path is as before.
/// Lifetime: what `toString` and its kin return is valid until the path is changed.
///
/// Wherever a path is taken a text may stand, narrow or wide; a null one is the empty path.
class QV_RESMGT_API OsFilePath {
public:
    /// Whether a base name keeps its extension.
    enum BaseNameExtension { WITHOUT_EXTENSION = 0, WITH_EXTENSION = 1 };

    /// The empty path, neither absolute nor relative.
    OsFilePath() = default;
    OsFilePath( const std::string& text );
    OsFilePath( const std::wstring& text );
    OsFilePath( const char* text );
    OsFilePath( const wchar_t* text );

    bool isEmpty() const { return _components.empty(); }
    bool isAbsolute() const;
    bool isRelative() const;
    /// A root and nothing behind it.
    bool isRoot() const;
    /// Relative, or from the root of a drive or of a server.
    bool isNative() const;
    unsigned int getNbComponents() const { return static_cast<unsigned int>( _components.size() ); }
    /// Errors: an `index` out of range is an assertion.
    const std::string& getComponent( unsigned int index ) const;
    /// The empty path when this one isn't absolute.
    OsFilePath getRoot() const;

    /// The printed form. It is a path to the same file, and parsing it gives an equal path.
    const std::string& toString() const;
    /// The printed form, as wide text.
    const std::wstring& toWString() const;
    const char* getChars() const { return toString().c_str(); }
    /// The printed form, in UTF-8.
    const char* toUTF8() const { return toString().c_str(); }
    /// Of the printed form, in bytes.
    unsigned int length() const { return static_cast<unsigned int>( toString().size() ); }
    /// Writes the printed form.
    std::ostream& dump( std::ostream& stream ) const;
    std::wostream& dump( std::wostream& stream ) const;

    /// -1, 0 or 1: by the bytes of the first component that differs, else by the number of
    /// components. Case counts on every platform.
    int compare( const OsFilePath& other ) const;

    /// Puts the components of `right` behind; its ".." climb. On an empty path it is assignment.
    /// The cost of `+=` depends on the length of `right` alone.
    ///
    /// Errors: OsFileEx::ExIllegalPathConcat, which quotes this path, when `right` is absolute and
    ///         this path isn't empty.
    OsFilePath& operator+=( const OsFilePath& right );
    OsFilePath operator+( const OsFilePath& right ) const;

    /// The last component, even if it is a root. Without extension it ends before the last dot,
    /// wherever that stands: ".profile" gives the empty path.
    OsFilePath getBaseName( BaseNameExtension extension ) const;
    OsFilePath getBaseNameNoExt() const { return getBaseName( WITHOUT_EXTENSION ); }
    /// All but the last component; "." for a single name, a root for itself.
    OsFilePath getDirectoryName() const;

    /// The text after the last dot of the last name, without the dot. Empty when that dot is the
    /// name's first character, and for roots, "." and "..".
    std::string getExtension() const;
    std::wstring getExtensionW() const;
    /// Puts `extension` behind the last name, and a dot before it when it has none. An empty or
    /// null `extension` changes nothing. A separator in it separates.
    ///
    /// Errors: OsFileEx::ExIllegalPathConcat for the empty path, a root, "." and "..".
    OsFilePath& addExtension( const char* extension );
    OsFilePath& addExtension( const wchar_t* extension );
    /// Takes away the last name's last dot and what follows; a name of which nothing is left, such
    /// as ".profile", goes whole. Nothing happens to roots, "." and "..".
    OsFilePath& stripExtension();
    /// The base name of `text` without extension; its directory is dropped.
    static std::string stripExtension( const std::string& text );
    /// `path` with `extension`: one that differs only in the case of ASCII letters is replaced, any
    /// other stays and `extension` is added. With an empty `path` or `extension` it is `path`.
    static OsFilePath enforceExtension( const OsFilePath& path, const std::string& extension );

    /// A relative path behind the current directory. Where no path can name that, this path is
    /// returned as it is, relative; so is the empty path.
    OsFilePath getAbsolutePath() const;

    static OsFilePath getRootDir();
    /// "." when the directory has gone, or when no path can name it because its name holds a
    /// back-slash.
    static OsFilePath getCurrentDir();
    /// `QV_TEST_DIR`, else "ombra" in the system's directory for temporary files. It need not
    /// exist; the start of the package makes it, for this user alone, or this operation where the
    /// program has chosen that, see OsTempDir. Where it can't be had, this is the next best place;
    /// docs/paths.md lists them.
    static OsFilePath getTempDir();
    /// Errors: OsFileEx::ExHomeNotDefined, here and below; ExSysErrorWindows when the system lacks
    ///         descriptors or memory to be asked.
    static OsFilePath getHomeDir();
    static OsFilePath getUserDocumentsDir();

    static const char* getSeparator() { return "/"; }
    static const wchar_t* getSeparatorW() { return L"/"; }
    /// Between the paths of a list in one of this system's own variables.
    static const char* getMultiPathSeparator() { return ";"; }
    static const wchar_t* getMultiPathSeparatorW() { return L";"; }

    friend bool operator==( const OsFilePath& left, const OsFilePath& right ) {
        return left._components == right._components;
    }
    friend auto operator<=>( const OsFilePath& left, const OsFilePath& right ) {
        return left.compare( right ) <=> 0;
    }

private:
    friend class OsFilePathUtils;
    friend class OsFileUtils;

    std::string makeText() const;
    void parse( std::string_view text );
    void addNames( std::string_view text );
    void addComponent( std::string_view name );
    void addComponents( const OsFilePath& path, std::size_t begin, std::size_t end );
    void checkCanTake( const OsFilePath& right ) const;
    void replaceLast( std::size_t count, OsFilePath& by );
    OsFilePath slice( std::size_t begin, std::size_t end ) const;
    bool climb();
    bool completeUncRoot( std::string_view name );
    bool hasNoName() const;
    OsFilePath withLastName( std::string_view name ) const;
    void appendExtension( std::string_view extension );

    std::vector<std::string> _components;
    OsLazyText<std::string> _normalizedPath;
    OsLazyText<std::wstring> _normalizedPathW;
};

} // namespace Qv
