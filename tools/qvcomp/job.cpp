#include <tools/qvcomp/job.h>

#include <tools/qvcomp/failure.h>

#include <base/failure/exSysError.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osTypedPath.h>
#include <resmgt/xml/xmlElement.h>
#include <resmgt/xml/xmlParser.h>
#include <resmgt/xml/xmlParserProtocol.h>
#include <resmgt/xml/xmlWriter.h>

#include <optional>
#include <sstream>

namespace Qv::Comp {

namespace {

constexpr const char* ROOT = "job";
constexpr const char* LAYER = "layer";
constexpr const char* FILE_ATTRIBUTE = "file";
/// Of the one option that has no long name.
constexpr const char* OUTPUT = "output";
constexpr const char* OUTPUT_OPTION = "-o";

constexpr int INDENTATION = 2;
constexpr std::size_t MAX_BYTES = std::size_t{ 1 } << 24;

XmlReadOptions makeLimits() {
    XmlReadOptions options;
    options.strict = true;
    options.maxDepth = 2;
    options.maxTokenSize = 1 << 16;
    options.maxElements = 1 << 16;
    options.maxBytes = MAX_BYTES;
    return options;
}

std::string getText( Tag tag, std::initializer_list<std::string> values ) {
    return makeMessage( tag, values ).getText();
}

class JobReader final : public XmlParserProtocol {
public:
    explicit JobReader( const std::string& file )
        : _file( file ) {}

    void notifyBeginElement( const std::string& name, int ) override {
        if( name != ( _depth == 0 ? ROOT : LAYER ) ) {
            refuse( getText( Tag::JOB_ELEMENT, { name } ) );
        }
        ++_depth;
        _layer.reset();
    }
    void pushAttribute( const std::string& name, const std::string& value, int ) override {
        if( value.empty() ) {
            refuse( getText( Tag::EMPTY_VALUE, { name } ) );
        }
        if( _depth == 1 ) {
            add( name == OUTPUT ? OUTPUT_OPTION : "--" + name, value );
        } else if( name == FILE_ATTRIBUTE ) {
            _layer = JobEntry{ "", value, getPosition(), true };
        } else {
            add( "--" + name, value );
        }
    }
    void notifyTextData( const std::string&, int ) override {
        refuse( getText( Tag::JOB_TEXT, {} ) );
    }
    void notifyEmptyElementEnd( int ) override { endElement(); }
    void notifyClosingElement( const std::string&, int ) override { endElement(); }

    std::vector<JobEntry> takeEntries() { return std::move( _entries ); }

private:
    void add( const std::string& option, const std::string& value ) {
        _entries.push_back( { option, value, getPosition(), _depth > 1 } );
    }
    void endElement() {
        if( _depth == 2 && !_layer ) {
            refuse( getText( Tag::JOB_NO_LAYER_FILE, {} ) );
        }
        if( _depth == 2 ) {
            _entries.push_back( *_layer );
        }
        --_depth;
    }
    [[noreturn]] void refuse( const std::string& problem ) const {
        refuseJob( _file, getPosition(), problem );
    }

    const std::string& _file;
    int _depth = 0;
    /// Its attributes come in any order, and before it.
    std::optional<JobEntry> _layer;
    std::vector<JobEntry> _entries;
};

/// All of it, since it is read twice, for the log and for the work.
std::string readText( const std::string& file ) {
    std::optional<std::string> text;
    try {
        OsFileUtils::readRegularFile( OsTypedPath::resolve( file ), MAX_BYTES, text );
    } catch( const OsFileEx::ExInvalidPath& ) {
        throw Failure( Tag::PATH_BACKSLASH, file );
    } catch( const ExSysErrorGeneric& ) {
        throw Failure( Tag::JOB_NO_FILE, file, MAX_BYTES );
    } catch( const ExSysError& e ) {
        throw Failure( Tag::JOB_UNREADABLE, file, getSystemText( e ) );
    }
    return std::move( *text );
}

std::string withoutFullStop( const std::string& sentence ) {
    return sentence.ends_with( '.' ) ? sentence.substr( 0, sentence.size() - 1 ) : sentence;
}

/// Whether a job that holds the entries can be read.
bool isHeld( const std::string& text ) {
    XmlParserProtocol nobody;
    try {
        XmlParser::parse( nobody, text, makeLimits() );
        return true;
    } catch( const XmlEx::ExSyntaxError& ) {
        return false;
    }
}

} // namespace

void refuseJob( const std::string& file, const XmlPosition& place, const std::string& problem ) {
    throw Failure( Tag::JOB_WRONG, file, place.line, place.column, problem );
}

std::vector<JobEntry> readJob( const std::string& file ) {
    JobReader entries( file );
    try {
        XmlParser::parse( entries, readText( file ), makeLimits() );
    } catch( const XmlEx::ExSyntaxError& e ) {
        refuseJob( file, { e.getLine(), e.getColumn(), e.getOffset() },
                   withoutFullStop( e.getMessage() ) );
    }
    return entries.takeEntries();
}

std::string makeJob( std::span<const JobEntry> entries ) {
    const RCShdPtr<XmlElement> job( new XmlElement( ROOT ) );
    RCShdPtr<XmlElement> layer( new XmlElement( LAYER ) );
    for( const JobEntry& entry : entries ) {
        if( entry.option.empty() ) {
            layer->setAttribute( FILE_ATTRIBUTE, entry.value );
            job->appendChild( layer );
            layer = RCShdPtr<XmlElement>( new XmlElement( LAYER ) );
        } else {
            XmlElement& element = entry.isOfLayer ? *layer : *job;
            element.setAttribute( entry.option == OUTPUT_OPTION ? OUTPUT : entry.option.substr( 2 ),
                                  entry.value );
        }
    }
    std::ostringstream text;
    XmlWriter writer( text, INDENTATION );
    writer.writeDeclaration();
    writer.insertXml( *job );
    text << '\n';
    if( !isHeld( text.str() ) ) {
        throw Failure( Tag::JOB_UNHELD );
    }
    return text.str();
}

} // namespace Qv::Comp
