#include <resmgt/initVars/inInitFileSource.h>
#include <resmgt/initVars/inInitUserInitFile.h>
#include <resmgt/osal/osFileEx.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <ostream>
#include <string_view>
#include <vector>

namespace Qv {

namespace {

InInitFile readUserFile() {
    OsFilePath path;
    try {
        path = InInitFile::getUserInitFilePath();
    } catch( const OsFileEx::ExHomeNotDefined& ) {
        // Then there is none.
    }
    return InInitFile( path, InInitFile::getUserInitFilePresence() );
}

/// How many characters must be put in, taken out or replaced to make one of the other:
/// Levenshtein's distance, by the rows of its table.
std::size_t getDistance( std::string_view from, std::string_view to ) {
    std::vector<std::size_t> row( to.size() + 1 );
    std::iota( row.begin(), row.end(), 0U );
    for( const char c : from ) {
        std::size_t diagonal = row[0]++;
        for( std::size_t i = 0; i < to.size(); ++i ) {
            const std::size_t replaced = diagonal + ( to[i] != c );
            diagonal = row[i + 1];
            row[i + 1] = std::min( { replaced, row[i] + 1, diagonal + 1 } );
        }
    }
    return row.back();
}

} // namespace

const InInitFile& InInitFileSource::getFile() {
    if( !_file ) {
        _file.emplace( _read() );
    }
    return *_file;
}

std::string InInitFileSource::getDescription() {
    return std::string( _description ) + ' ' + getFile().getPath().toString();
}

void InInitFileSource::initialize( InContextAliasBase& alias ) {
    alias.initialize( getFile().getValue( alias.getKey() ) );
}

void InInitFileSource::dumpUnasked( std::ostream& stream ) {
    const InContextAliasKeys::Set& known = _keys.get();
    for( const std::string& name : getFile().getNames() ) {
        if( known.empty() || known.contains( name.c_str() ) ) {
            continue;
        }
        const char* const nearest = *std::ranges::min_element(
            known, {}, [&]( const char* key ) { return getDistance( name, key ); } );
        stream << "Unknown key     : " << name << '\n' << "     Nearest    : " << nearest << '\n';
    }
}

InInitFileSource& InInitUserInitFile::get() {
    // Aliases leave it in static destructors, so it has none.
    static auto* const source = new InInitFileSource( "User initialization file", readUserFile );
    return *source;
}

} // namespace Qv
