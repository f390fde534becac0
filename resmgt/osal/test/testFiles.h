#pragma once

#include <resmgt/osal/osFilePath.h>
#include <tests/support/tempDirectory.h>

#include <sys/fsuid.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Qv {

namespace fs = std::filesystem;

/// A directory of the test's own, in which files are made and looked at past the tested layer. What
/// has no powers may search it.
class TestFiles {
public:
    TestFiles() { fs::permissions( _top.path(), fs::perms( 0755 ) ); }

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
        std::ifstream file( at( name ), std::ios::binary );
        return { std::istreambuf_iterator<char>( file ), {} };
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
    unsigned int mode( const std::string& name ) const {
        return static_cast<unsigned int>( fs::status( at( name ) ).permissions() );
    }
    /// The entries at all depths.
    long count() const {
        return std::distance( fs::recursive_directory_iterator( _top.path() ), {} );
    }

private:
    TempDirectory _top;
};

/// Works in another directory until scope exit.
class WorkingIn {
public:
    explicit WorkingIn( const fs::path& directory ) { fs::current_path( directory ); }
    WorkingIn( const WorkingIn& ) = delete;
    WorkingIn& operator=( const WorkingIn& ) = delete;
    ~WorkingIn() { fs::current_path( _former ); }

private:
    const fs::path _former = fs::current_path();
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

/// The reason of the `Exception` that `body` raises; an exception of another type goes on.
template <class Exception, class Body>
std::string reasonOf( const Body& body ) {
    try {
        body();
    } catch( const Exception& exception ) {
        return exception.getReason();
    }
    return "nothing was raised";
}

} // namespace Qv
