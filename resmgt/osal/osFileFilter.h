#pragma once

#include <base/containers/set.h>
#include <base/ownership/oPtr.h>
#include <resmgt/osal/osFilePath.h>

#include <optional>
#include <string>

namespace Qv {

/// Says which of the paths that it is shown are kept.
class QV_RESMGT_API OsFileFilter {
public:
    virtual ~OsFileFilter();

    /// A filter that lets the same paths through.
    virtual OPtrRet<OsFileFilter> clone() const = 0;
    /// Whether the path is let through.
    virtual bool filter( const OsFilePath& path ) const = 0;

protected:
    OsFileFilter();
    OsFileFilter( const OsFileFilter& );
    OsFileFilter& operator=( const OsFileFilter& );
};

/// Supplies `clone` of the concrete filter `Self`.
template <class Self>
class OsCloneableFileFilter : public OsFileFilter {
public:
    OPtrRet<OsFileFilter> clone() const override {
        return OPtr<OsFileFilter>( new Self( static_cast<const Self&>( *this ) ) );
    }
};

/// Keeps every path.
class QV_RESMGT_API OsPassThroughFilter : public OsCloneableFileFilter<OsPassThroughFilter> {
public:
    bool filter( const OsFilePath& path ) const override;
};

/// Keeps directories.
class QV_RESMGT_API OsDirectoryFilter : public OsCloneableFileFilter<OsDirectoryFilter> {
public:
    bool filter( const OsFilePath& path ) const override;
};

/// Keeps what has exactly the extension "log".
class QV_RESMGT_API OsLogFileFilter : public OsCloneableFileFilter<OsLogFileFilter> {
public:
    bool filter( const OsFilePath& path ) const override;
};

/// Keeps the paths whose last component matches a pattern: "*" stands for any run of characters,
/// also an empty one, "?" for exactly one, any other character for itself, in this case.
class QV_RESMGT_API OsWildcardFilter : public OsCloneableFileFilter<OsWildcardFilter> {
public:
    /// Keeps nothing.
    OsWildcardFilter();
    explicit OsWildcardFilter( const std::wstring& pattern );

    bool filter( const OsFilePath& path ) const override;

private:
    std::optional<std::wstring> _pattern;
};

/// Keeps what is no directory and, if a suffix is given, has a name that ends with it.
class QV_RESMGT_API OsLeafFileFilter : public OsCloneableFileFilter<OsLeafFileFilter> {
public:
    OsLeafFileFilter();
    explicit OsLeafFileFilter( const std::wstring& suffix );

    bool filter( const OsFilePath& path ) const override;

private:
    std::wstring _suffix;
};

/// Keeps what has one of the extensions, in this case and without dot, and directories that have
/// no extension.
class QV_RESMGT_API OsShowOnlyFileFilter : public OsCloneableFileFilter<OsShowOnlyFileFilter> {
public:
    explicit OsShowOnlyFileFilter( const Set<std::string>& extensions );

    bool filter( const OsFilePath& path ) const override;

private:
    Set<std::string> _extensions;
};

/// Keeps what has none of the extensions, in this case and without dot.
class QV_RESMGT_API OsExcludeFileFilter : public OsCloneableFileFilter<OsExcludeFileFilter> {
public:
    explicit OsExcludeFileFilter( const Set<std::string>& extensions );

    bool filter( const OsFilePath& path ) const override;

private:
    Set<std::string> _extensions;
};

} // namespace Qv
