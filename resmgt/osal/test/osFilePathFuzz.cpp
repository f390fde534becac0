#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFilePathUtils.h>

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>

/// What holds for all texts, held against the three that the input is cut into. A promise that is
/// broken comes out as an exception, which ends the fuzzer and fails the test that calls this.
extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

namespace Qv {
namespace {

void expect( bool holds, const char* promise, const OsFilePath& path ) {
    if( !holds ) {
        throw std::logic_error( std::string( promise ) + ": '" + path.toString() + "'" );
    }
}

void expectNormal( const OsFilePath& path ) {
    const std::string& text = path.toString();
    const OsFilePath again( text );
    expect( again == path && again.toString() == text, "the printed form is another path", path );
    expect( OsFilePath( path.toWString() ) == path, "wide text is another path", path );
    expect( path.isEmpty() == text.empty(), "empty means no text", path );
    expect( text.find( '\\' ) == std::string::npos, "a back-slash is printed", path );
    expect( path.isEmpty() + path.isAbsolute() + path.isRelative() == 1, "one of three", path );
    for( unsigned int i = 0; i < path.getNbComponents(); ++i ) {
        const std::string& name = path.getComponent( i );
        const bool isRoot = i == 0 && path.isAbsolute();
        expect( !name.empty(), "a component is empty", path );
        expect( isRoot == ( name.find( '/' ) != std::string::npos ), "a name separates", path );
        expect( name != "." || path.getNbComponents() == 1, "a dot isn't alone", path );
        expect( name != ".." || i == 0 || ( i == 1 && path.isAbsolute() ), "climbs", path );
    }
}

void expectParts( const OsFilePath& path ) {
    const OsFilePath directory = path.getDirectoryName();
    const OsFilePath name = path.getBaseName( OsFilePath::WITH_EXTENSION );
    for( const OsFilePath& part : { directory, name, path.getBaseNameNoExt(), path.getRoot() } ) {
        expectNormal( part );
    }
    expect( path.isRoot() || directory + name == path, "the parts make up the path", path );
    expect( path.isEmpty() || path.isRoot() || path.getNbComponents() == 1 ||
                OsFilePathUtils::isAncestor( directory, path ),
            "the directory is an ancestor", path );
    OsFilePath stripped = path;
    expectNormal( stripped.stripExtension() );
    const std::string extension = path.getExtension();
    const std::string stem = path.getBaseNameNoExt().toString();
    if( !extension.empty() && stem != "." && stem != ".." ) {
        // A C string ends at a zero byte.
        expect( extension.find( '\0' ) != std::string::npos ||
                    stripped.addExtension( extension.c_str() ) == path,
                "an extension comes back", path );
    }
}

int sign( int number ) {
    return ( number > 0 ) - ( number < 0 );
}

void expectOrder( const OsFilePath& a, const OsFilePath& b, const OsFilePath& c ) {
    const int order = a.compare( b );
    expect( order == sign( order ) && order == -b.compare( a ), "one order both ways", a );
    expect( ( order == 0 ) == ( a == b ), "order and equality differ", a );
    expect( ( order == 0 ) == ( a.toString() == b.toString() ), "equal paths print equally", a );
    expect( order > 0 || b.compare( c ) > 0 || a.compare( c ) <= 0, "order isn't transitive", a );
}

void expectSum( const OsFilePath& a, const OsFilePath& b ) {
    try {
        const OsFilePath sum = a + b;
        expectNormal( sum );
        expect( ( OsFilePath( a ) += b ) == sum, "two sums differ", a );
        expect( a.isEmpty() || !b.isAbsolute(), "an absolute path was put behind", a );
    } catch( const OsFileEx::ExIllegalPathConcat& ) {
        expect( !a.isEmpty() && b.isAbsolute(), "a path was refused", b );
    }
}

/// What is made of the texts otherwise, if it can be.
void expectNormalResults( const OsFilePath& a, const OsFilePath& b, const OsFilePath& c ) {
    OsFilePath moved = c;
    const bool isThere = a == c || OsFilePathUtils::isAncestor( a, c );
    try {
        expect( OsFilePathUtils::relocate( a, b, moved ) == isThere, "what is there moves", c );
        expectNormal( moved );
        expectNormal( OsFilePath::enforceExtension( a, b.toString() ) );
    } catch( const OsFileEx::ExIllegalPathConcat& ) {}
    expect( isThere || moved == c, "what isn't there stays", c );
}

} // namespace
} // namespace Qv

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
    using namespace Qv;
    std::istringstream input( std::string( data, data + size ) );
    std::string texts[3];
    for( std::string& text : texts ) {
        std::getline( input, text );
    }
    const OsFilePath a( texts[0] );
    const OsFilePath b( texts[1] );
    const OsFilePath c( texts[2] );
    for( const OsFilePath& path : { a, b, c } ) {
        expectNormal( path );
        expectParts( path );
    }
    expectOrder( a, b, c );
    expectSum( a, b );
    expectNormalResults( a, b, c );
    return 0;
}
