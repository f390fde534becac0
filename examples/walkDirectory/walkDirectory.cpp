// Walks a directory through filters and prints what it finds:
//
//     walkDirectory [DIRECTORY [EXTENSION...]]
//
// Without extensions all files are printed, else those that have one of them.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <resmgt/osSupport/osDateUtil.h>
#include <resmgt/osal/osDirectory.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/osTypedPath.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>

namespace {

// A filter of the program's own: files that another filter keeps, too.
class FilesFilter : public Qv::OsCloneableFileFilter<FilesFilter> {
public:
    explicit FilesFilter( const Qv::Set<std::string>& extensions )
        : _extensions( extensions )
        , _isForAll( extensions.isEmpty() ) {}

    bool filter( const Qv::OsFilePath& path ) const override {
        return _files.filter( path ) && ( _isForAll || _extensions.filter( path ) );
    }

private:
    Qv::OsLeafFileFilter _files;
    Qv::OsShowOnlyFileFilter _extensions;
    bool _isForAll;
};

struct Totals {
    int nbDirectories = 0;
    int nbFiles = 0;
    unsigned long long nbBytes = 0;
};

std::string getName( const Qv::OsFilePath& path ) {
    return Qv::Printable::makeLine( path.getBaseName( Qv::OsFilePath::WITH_EXTENSION ).toString() );
}

void printFile( const Qv::OsFileInfo& file, int depth ) {
    std::printf(
        "%12llu  %s  %-10s %*s%s\n", static_cast<unsigned long long>( file.getSize() ),
        Qv::OsDateUtil::toLocalText( file.getLastModificationTime(), "%Y-%m-%d %H:%M" ).c_str(),
        file.getOwner().c_str(), 4 * depth, "", getName( file.getPath() ).c_str() );
}

void walk( const Qv::OsDirectory& directory, const Qv::OsFileFilter& filter, int depth,
           Totals& totals ) {
    auto files = directory.getChildrenInfo( filter );
    std::sort( files.begin(), files.end(), []( const auto& left, const auto& right ) {
        return left.getPath() < right.getPath();
    } );
    for( const Qv::OsFileInfo& file : files ) {
        printFile( file, depth );
        ++totals.nbFiles;
        totals.nbBytes += file.getSize();
    }
    auto children =
        directory.getChildrenPath( Qv::OsFileTypes::FULL_PATH, Qv::OsDirectoryFilter() );
    std::sort( children.begin(), children.end() );
    for( const Qv::OsFilePath& child : children ) {
        ++totals.nbDirectories;
        std::printf( "%42s%*s%s/\n", "", 4 * depth, "", getName( child ).c_str() );
        // A link may lead back to where the walk came from.
        if( !Qv::OsFsUtils::isSymLink( child ) ) {
            walk( Qv::OsDirectory( child ), filter, depth + 1, totals );
        }
    }
}

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    const Qv::OsDirectory top( argc > 1 ? Qv::OsTypedPath::resolve( argv[1] )
                                        : Qv::OsFilePath::getCurrentDir() );
    Qv::Set<std::string> extensions;
    for( int i = 2; i < argc; ++i ) {
        extensions.insert( argv[i] );
    }
    Totals totals;
    walk( top, FilesFilter( extensions ), 0, totals );
    std::printf( "%d files of %llu bytes, %d directories\n", totals.nbFiles, totals.nbBytes,
                 totals.nbDirectories );
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "walkDirectory: %s\n",
                      Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
