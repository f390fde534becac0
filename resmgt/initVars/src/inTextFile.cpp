#include <resmgt/initVars/inTextFile.h>

#include <base/failure/qvHere.h>
#include <base/text/ascii.h>
#include <resmgt/initVars/inTextFileEx.h>
#include <resmgt/initVars/src/inTextFileParser.h>
#include <resmgt/osal/osFileReplacement.h>

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

using Pairs = HashMap<std::string, std::string>;

constexpr std::string_view ASSIGNMENT = " = ";
/// What a pair takes of a file, for an estimate of their number, and the most that is believed: a
/// file can be large without holding anything.
constexpr unsigned long long BYTES_PER_PAIR = 40;
constexpr unsigned long long MAX_ESTIMATE = 1'000'000;

/// Fills a map. Where that is large, what an insertion costs is waiting for memory: a whole batch
/// of names is looked up first, since the processor waits for independent look-ups together.
class PairCollector {
public:
    explicit PairCollector( std::size_t estimate ) { _pairs.reserve( estimate ); }

    /// A former value of the name is replaced.
    void add( std::string_view name, std::string_view value ) {
        _batch[_size++] = { std::string( name ), std::string( value ), nullptr };
        if( _size == _batch.size() ) {
            insertBatch();
        }
    }
    Pairs take() {
        insertBatch();
        return std::move( _pairs );
    }

private:
    struct Addition {
        std::string name;
        std::string value;
        /// What the map had for the name before the batch.
        std::string* formerValue;
    };

    void insertBatch();

    Pairs _pairs;
    std::array<Addition, 64> _batch;
    std::size_t _size = 0;
};

void PairCollector::insertBatch() {
    const std::span additions( _batch.data(), std::exchange( _size, 0 ) );
    for( Addition& addition : additions ) {
        const auto found = _pairs.find( addition.name );
        addition.formerValue = found != _pairs.end() ? &found->second : nullptr;
    }
    for( Addition& addition : additions ) {
        if( addition.formerValue != nullptr ) {
            *addition.formerValue = std::move( addition.value );
        } else {
            _pairs.insert_or_assign( std::move( addition.name ), std::move( addition.value ) );
        }
    }
}

void checkPair( const char* file, const std::string& name, const std::string& value ) {
    if( !isName( name ) ) {
        throw InTextFileEx::ExInvalidToken( QV_HERE, file, name );
    }
    if( Ascii::trim( value ) != value || stripComment( value ) != value ||
        value.ends_with( '\\' ) ||
        value.find_first_of( std::string_view( "\n\0", 2 ) ) != std::string::npos ) {
        const std::string detail = "the value of " + name + " couldn't be read back";
        throw InTextFileEx::ExInvalidFormat( QV_HERE, file, detail.c_str() );
    }
}

/// The new text of a file, as `map` changes it.
class NewText {
public:
    NewText( const char* file, const Pairs& map );

    /// Takes over what the file holds.
    void rewrite();
    /// Adds the pairs that the file doesn't hold.
    void addMissing();
    const std::string& get() const noexcept { return _text; }

private:
    void addLine( std::string_view line ) { _text.append( line ).append( "\n" ); }
    void addPair( std::string_view beforeValue, std::string_view value, std::string_view behind );
    void replaceValue( const InTextPairParser& parser, std::string_view line,
                       const std::string& value );

    const char* const _file;
    const Pairs& _map;
    /// Those that the file doesn't hold.
    std::set<std::string_view> _missingNames;
    std::string _text;
};

NewText::NewText( const char* file, const Pairs& map )
    : _file( file )
    , _map( map ) {
    for( const auto& [name, value] : map ) {
        checkPair( file, name, value );
        _missingNames.insert( name );
    }
}

void NewText::rewrite() {
    InTextLineReader lines( _file );
    InTextPairParser parser( lines );
    // Where the lines begin that continue each other.
    std::size_t begin = 0;
    for( std::string_view line; lines.read( line ); ) {
        const bool isAlone = !parser.isContinued();
        if( isAlone ) {
            begin = _text.size();
        }
        const bool isPair = parser.take( line );
        const auto found = isPair ? _map.find( std::string( parser.getName() ) ) : _map.end();
        if( found == _map.end() ) {
            addLine( line );
            continue;
        }
        _missingNames.erase( found->first );
        if( stripComment( parser.getValue() ) == found->second ) {
            addLine( line );
        } else {
            _text.resize( begin );
            replaceValue( parser, isAlone ? line : std::string_view(), found->second );
        }
    }
    parser.finish();
    _text.insert( 0, lines.getByteOrderMark() );
}

/// `line` is empty when the pair stood on several.
void NewText::replaceValue( const InTextPairParser& parser, std::string_view line,
                            const std::string& value ) {
    const std::string_view former = parser.getValue();
    // Behind a name and a blank, an "=" would be the separator.
    if( line.empty() || former.empty() || value.empty() || value.starts_with( '=' ) ) {
        addPair( std::string( parser.getName() ).append( ASSIGNMENT ), value, "" );
        return;
    }
    const auto begin = static_cast<std::size_t>( former.data() - line.data() );
    addPair( line.substr( 0, begin ), value, line.substr( begin + stripComment( former ).size() ) );
}

void NewText::addPair( std::string_view beforeValue, std::string_view value,
                       std::string_view behind ) {
    const std::string line = std::string( beforeValue ).append( value ).append( behind );
    if( line.size() > InTextFile::MAX_LINE ) {
        const std::string detail = "a line would be too long: " + line;
        throw InTextFileEx::ExInvalidFormat( QV_HERE, _file, detail.c_str() );
    }
    addLine( line );
}

void NewText::addMissing() {
    for( const std::string_view name : _missingNames ) {
        addPair( std::string( name ).append( ASSIGNMENT ), _map.at( std::string( name ) ), "" );
    }
}

std::string getBackupName( const OsFilePath& path ) {
    constexpr const char* EXTENSION = "tt~";
    OsFilePath backup = path.getBaseName( OsFilePath::WITH_EXTENSION );
    if( !path.getExtension().empty() && path.getExtension() != EXTENSION ) {
        backup.stripExtension();
    }
    return backup.addExtension( EXTENSION ).toString();
}

const char* whatIsThere( const OsFileReplacement& file ) {
    if( !file.isCommitted() ) {
        return file.isReplacing() ? "; the file is as it was" : "; nothing is written";
    }
    return file.hasBackup() ? "; the file is written, and its former content is still there"
                            : "; the file is written";
}

void write( const char* file, OsFileReplacement& replacement, const std::string& text ) {
    const auto describe = [&]( const ExBase& failure ) {
        return std::string( failure.getReason() ) + whatIsThere( replacement );
    };
    try {
        replacement.create();
    } catch( const ExBase& failure ) {
        throw InTextFileEx::ExCannotOpen( QV_HERE, file, describe( failure ).c_str() );
    }
    try {
        replacement.write( text.data(), text.size() );
        replacement.commit( getBackupName( replacement.getPath() ) );
        replacement.removeBackup();
    } catch( const ExBase& failure ) {
        throw InTextFileEx::ExFileError( QV_HERE, file, describe( failure ).c_str() );
    }
}

} // namespace

void InTextFile::readNameValuePair( const char* file, HashMap<std::string, std::string>& map,
                                    bool stripComments ) {
    InTextLineReader lines( file );
    InTextPairParser parser( lines );
    PairCollector pairs( std::min( lines.getSize() / BYTES_PER_PAIR, MAX_ESTIMATE ) );
    for( std::string_view line; lines.read( line ); ) {
        if( parser.take( line ) ) {
            const std::string_view value = parser.getValue();
            pairs.add( parser.getName(), stripComments ? stripComment( value ) : value );
        }
    }
    parser.finish();
    Pairs result = pairs.take();
    if( !map.empty() ) {
        // With room for all, merging can't fail half-way.
        result.reserve( result.size() + map.size() );
        result.merge( map );
    }
    map.swap( result );
}

void InTextFile::writeNameValuePair( const char* file,
                                     const HashMap<std::string, std::string>& map ) {
    NewText text( file, map );
    std::optional<OsFileReplacement> replacement;
    try {
        replacement.emplace( file );
    } catch( const ExBase& failure ) {
        throw InTextFileEx::ExCannotOpen( QV_HERE, file, failure.getReason() );
    }
    if( replacement->isReplacing() ) {
        text.rewrite();
    }
    text.addMissing();
    write( file, *replacement, text.get() );
}

} // namespace Qv
