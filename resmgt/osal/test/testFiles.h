#pragma once

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/test/failingCalls.h>
#include <tests/support/raisedBy.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// What the tests of this package share.

namespace Qv {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Sys = ExSysErrorWindows;

/// A directory of the test's own, in which files are made and looked at past the tested layer. What
/// has no powers may search it. It is made with entries that blanks separate, such as "file",
/// "file=content", "dir/", "link>target" and "pipe|".
class TestFiles {
public:
    explicit TestFiles( const std::string& entries = "" ) {
        fs::permissions( _top.path(), fs::perms( 0755 ) );
        add( entries );
    }

    void add( const std::string& entries ) const {
        std::istringstream all( entries );
        for( std::string entry; all >> entry; ) {
            const std::size_t end = std::min( entry.find_first_of( "=>|" ), entry.size() );
            const std::string name = entry.substr( 0, end );
            const std::string rest = entry.substr( std::min( end + 1, entry.size() ) );
            if( entry[end] == '>' ) {
                link( rest, name );
            } else if( entry[end] == '|' ) {
                EXPECT_EQ( ::mkfifo( at( name ).c_str(), 0666 ), 0 ) << name;
            } else {
                write( name, rest );
            }
        }
    }

    fs::path at( const std::string& name ) const { return _top.path() / name; }
    OsFilePath path( const std::string& name = "" ) const { return OsFilePath( at( name ) ); }
    /// Makes directories as needed; a name that ends with "/" is one.
    void write( const std::string& name, const std::string& content = "" ) const {
        fs::create_directories( at( name ).parent_path() );
        if( !name.ends_with( '/' ) ) {
            std::ofstream( at( name ), std::ios::binary ) << content;
        }
    }
    std::string read( const std::string& name ) const {
        std::ostringstream text;
        text << std::ifstream( at( name ), std::ios::binary ).rdbuf();
        return std::move( text ).str();
    }
    void link( const std::string& target, const std::string& name ) const {
        fs::create_symlink( target, at( name ) );
    }
    /// Whether there is an entry, be it a link that leads nowhere.
    bool has( const std::string& name ) const {
        return fs::exists( fs::symlink_status( at( name ) ) );
    }
    void setMode( const std::string& name, unsigned int mode ) const {
        fs::permissions( at( name ), fs::perms( mode ) );
    }
    struct stat facts( const std::string& name ) const {
        struct stat facts {};
        EXPECT_EQ( ::stat( at( name ).c_str(), &facts ), 0 ) << name;
        return facts;
    }
    unsigned int mode( const std::string& name ) const { return facts( name ).st_mode & 0777U; }
    /// The entries at all depths.
    long count() const {
        return std::distance( fs::recursive_directory_iterator( _top.path() ), {} );
    }

private:
    TempDirectory _top;
};

/// Takes root's powers over files from this thread, until scope exit. Others keep what they have.
class WithoutPowers {
public:
    WithoutPowers()
        : _group( static_cast<gid_t>( ::setfsgid( ::getegid() == 0 ? NOBODY : ::getegid() ) ) )
        , _user( static_cast<uid_t>( ::setfsuid( ::geteuid() == 0 ? NOBODY : ::geteuid() ) ) ) {}
    WithoutPowers( const WithoutPowers& ) = delete;
    WithoutPowers& operator=( const WithoutPowers& ) = delete;
    ~WithoutPowers() {
        ::setfsuid( _user );
        ::setfsgid( _group );
    }

private:
    static constexpr unsigned int NOBODY = 65534;

    const gid_t _group;
    const uid_t _user;
};

/// Of a reason that begins with `where` and holds all `parts`.
template <class... Parts>
auto tells( const std::string& where, const Parts&... parts ) {
    return ::testing::AllOf( ::testing::StartsWith( where ), ::testing::HasSubstr( parts )... );
}

} // namespace Qv
