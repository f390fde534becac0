#pragma once

#include <base/qvBaseApi.h>

#include <string>

namespace Qv {

/// A library's or an application's record of its build.
class QV_BASE_API InBuildInfo {
public:
    /// `WITHOUT_PRODUCT_NAME` gives the part that follows a name which the caller writes, beginning
    /// with a blank.
    enum InstanceIdControl { WITH_PRODUCT_NAME, WITHOUT_PRODUCT_NAME };
    /// How much of a version is shown.
    enum VersionDisplayControl { YEAR, YEAR_AND_NUMBER };

    /// The build kind of a development build.
    static constexpr int DEVELOPMENT_BUILD = 3;

    InBuildInfo() = default;
    InBuildInfo( const InBuildInfo& ) = delete;
    InBuildInfo& operator=( const InBuildInfo& ) = delete;
    virtual ~InBuildInfo();

    /// All texts live as long as this object.
    virtual const char* getProductName() const = 0;
    virtual const char* getLibraryName() const = 0;
    /// The version's year.
    virtual const char* getVersion() const = 0;
    /// The version's number in the form major.minor.
    virtual const char* getVersionNumber() const = 0;
    /// "dev" for a development build, else empty.
    virtual const char* getBuildSuffix() const = 0;
    virtual int getMajor() const = 0;
    virtual int getMinor() const = 0;
    virtual int getBuildKind() const = 0;
    virtual const char* getBuildNumber() const = 0;
    /// Month name first.
    virtual const char* getBuildDate() const = 0;
    /// In the form optimisation.processor.compiler.
    virtual const char* getBuildFlavour() const = 0;

    /// All of it on one line, for people.
    std::string getBuildInformationString() const;

    /// What the running application is called where several versions stand side by side, from its
    /// registered record: "Name 2026 (1.2dev)", or with the year alone "Name 2026".
    ///
    /// Errors: an assertion when the application has registered no record.
    static std::string getInstanceIdentificationString( InstanceIdControl idControl,
                                                        VersionDisplayControl versionControl );
};

} // namespace Qv
