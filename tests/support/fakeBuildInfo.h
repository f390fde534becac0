#pragma once

#include <base/init/inBuildInfo.h>

namespace Qv {

/// The record of a library that nobody built.
class FakeBuildInfo : public InBuildInfo {
public:
    explicit FakeBuildInfo( const char* library )
        : _library( library ) {}

    const char* getProductName() const override { return "Painter"; }
    const char* getLibraryName() const override { return _library; }
    const char* getVersion() const override { return "2031"; }
    const char* getVersionNumber() const override { return "4.7"; }
    const char* getBuildSuffix() const override { return "dev"; }
    int getMajor() const override { return 4; }
    int getMinor() const override { return 7; }
    int getBuildKind() const override { return DEVELOPMENT_BUILD; }
    const char* getBuildNumber() const override { return "815"; }
    const char* getBuildDate() const override { return "March 04 2031"; }
    const char* getBuildFlavour() const override { return "fast.z80.cc"; }

private:
    const char* const _library;
};

} // namespace Qv
