#include <resmgt/initVars/inTextFile.h>
#include <tests/support/tempDirectory.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <vector>

/// What holds for all files. The input is a file up to its first "\x1" and a value to be written
/// behind that. A promise that is broken comes out as an exception.
extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

namespace Qv {
namespace {

using Pairs = HashMap<std::string, std::string>;

const std::string& getPath() {
    static const TempDirectory directory;
    static const std::string path = directory.path() / "file.ini";
    return path;
}

void store( const std::string& content ) {
    std::ofstream( getPath(), std::ios::binary ) << content;
}

std::string load() {
    std::ifstream stream( getPath(), std::ios::binary );
    return { std::istreambuf_iterator<char>( stream ), std::istreambuf_iterator<char>() };
}

void expect( bool holds, const char* promise ) {
    if( !holds ) {
        throw std::logic_error( promise );
    }
}

/// False when the file is refused.
bool read( Pairs& pairs, bool stripComments ) {
    try {
        InTextFile::readNameValuePair( getPath().c_str(), pairs, stripComments );
        return true;
    } catch( const ExBase& ) {
        expect( pairs.empty(), "a refused file leaves pairs" );
        return false;
    }
}

std::vector<std::string> getComments( const std::string& content ) {
    std::istringstream stream( content );
    stream.ignore( content.starts_with( "\xef\xbb\xbf" ) ? 3 : 0 );
    std::vector<std::string> lines;
    for( std::string line; std::getline( stream, line ); ) {
        if( line.starts_with( '#' ) ) {
            lines.push_back( line );
        }
    }
    return lines;
}

void expectWritten( const std::string& content, const Pairs& before, const Pairs& changes ) {
    try {
        InTextFile::writeNameValuePair( getPath().c_str(), changes );
    } catch( const ExBase& ) {
        expect( load() == content, "what is refused changes the file" );
        return;
    }
    Pairs expected = changes;
    expected.insert( before.begin(), before.end() );
    Pairs after;
    expect( read( after, true ) && after == expected, "what is written reads back" );
    expect( load().starts_with( "\xef\xbb\xbf" ) == content.starts_with( "\xef\xbb\xbf" ),
            "a byte order mark stays" );
    expect( getComments( load() ) == getComments( content ), "comments and their order stay" );
    const std::string written = load();
    InTextFile::writeNameValuePair( getPath().c_str(), changes );
    expect( load() == written, "writing the same again changes nothing" );
}

} // namespace
} // namespace Qv

int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
    using namespace Qv;
    const std::string input( data, data + size );
    const std::size_t cut = std::min( input.find( '\x1' ), input.size() );
    const std::string content = input.substr( 0, cut );
    const std::string value = input.substr( std::min( cut + 1, input.size() ) );
    store( content );
    Pairs raw;
    Pairs stripped;
    expect( read( raw, false ) == read( stripped, true ), "comments decide what is refused" );
    expect( raw.size() == stripped.size(), "comments decide what is a name" );
    for( const auto& [name, text] : stripped ) {
        expect( raw.at( name ).starts_with( text ), "a value without comment is its beginning" );
    }
    Pairs changes{ { "new:name", value } };
    if( !stripped.empty() ) {
        changes[stripped.begin()->first] = value;
    }
    expectWritten( content, stripped, changes );
    return 0;
}
