#include "documents.h"

#include <resmgt/osal/osFileReader.h>
#include <resmgt/xml/xmlParser.h>
#include <resmgt/xml/xmlParserProtocol.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>

#ifdef QV_PEER_EXPAT
#    include <expat.h>
#endif
#ifdef QV_PEER_LIBXML2
#    include <libxml/SAX2.h>
#    include <libxml/parser.h>
#endif

/// Events: each parser counts the elements and the bytes of names and values, which it has to find
/// for that; ours from memory and from a file that the system has in its cache, with the lenient
/// rules and strictly. "scan" is a loop over the bytes that looks for markup and counts lines, and
/// no more.

namespace {

using namespace Qv;

struct Counts {
    std::size_t nbElements = 0;
    std::size_t nbBytes = 0;
};

void report( benchmark::State& state, const Counts& counts ) {
    if( counts.nbElements == 0 ) {
        state.SkipWithError( "No element was found" );
    }
    benchmark::DoNotOptimize( counts.nbBytes );
    state.SetBytesProcessed( state.iterations() * std::int64_t{ BenchXml::JOB_SIZE } );
}

class Counter : public XmlParserProtocol {
public:
    void notifyBeginElement( const std::string& name, int ) override {
        ++counts.nbElements;
        counts.nbBytes += name.size();
    }
    void pushAttribute( const std::string& name, const std::string& value, int ) override {
        counts.nbBytes += name.size() + value.size();
    }

    Counts counts;
};

XmlReadOptions strictly( bool strict ) {
    XmlReadOptions result;
    result.strict = strict;
    return result;
}

void readText( benchmark::State& state, bool strict ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    Counter counter;
    for( auto _ : state ) {
        XmlParser::parse( counter, job, strictly( strict ) );
    }
    report( state, counter.counts );
}
BENCHMARK_CAPTURE( readText, lenient, false )->Name( "events/Qv/memory" );
BENCHMARK_CAPTURE( readText, strict, true )->Name( "events/Qv/memory/strict" );

/// A file of the job, removed at the end.
class JobFile {
public:
    JobFile()
        : _path( std::filesystem::temp_directory_path() / "bench_xml.xml" ) {
        std::ofstream( _path, std::ios::binary ) << BenchXml::makeJob( BenchXml::JOB_SIZE );
    }
    JobFile( const JobFile& ) = delete;
    JobFile& operator=( const JobFile& ) = delete;
    ~JobFile() { std::filesystem::remove( _path ); }

    std::string path() const { return _path.string(); }

private:
    const std::filesystem::path _path;
};

void readFile( benchmark::State& state ) {
    const JobFile file;
    Counter counter;
    for( auto _ : state ) {
        OsFileReader reader( OsFilePath( file.path() ), false );
        XmlParser::parse( counter, reader );
    }
    report( state, counter.counts );
}
BENCHMARK( readFile )->Name( "events/Qv/file" );

void scan( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    Counts counts;
    for( auto _ : state ) {
        for( const char byte : job ) {
            switch( byte ) {
            case '<':
                ++counts.nbElements;
                break;
            case '>':
            case '"':
            case '=':
            case '\n':
                ++counts.nbBytes;
                break;
            default:
                break;
            }
        }
    }
    report( state, counts );
}
BENCHMARK( scan )->Name( "events/scan" );

#ifdef QV_PEER_EXPAT
void XMLCALL beginExpat( void* counts, const XML_Char* name, const XML_Char** attributes ) {
    auto& own = *static_cast<Counts*>( counts );
    ++own.nbElements;
    own.nbBytes += std::char_traits<char>::length( name );
    for( ; *attributes != nullptr; ++attributes ) {
        own.nbBytes += std::char_traits<char>::length( *attributes );
    }
}

void readByExpat( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    Counts counts;
    for( auto _ : state ) {
        XML_Parser parser = XML_ParserCreate( nullptr );
        XML_SetUserData( parser, &counts );
        XML_SetStartElementHandler( parser, beginExpat );
        if( XML_Parse( parser, job.data(), static_cast<int>( job.size() ), 1 ) != XML_STATUS_OK ) {
            state.SkipWithError( "expat refuses the job" );
        }
        XML_ParserFree( parser );
    }
    report( state, counts );
}
BENCHMARK( readByExpat )->Name( "events/expat" );
#endif

#ifdef QV_PEER_LIBXML2
void beginLibxml2( void* counts, const xmlChar* name, const xmlChar*, const xmlChar*, int,
                   const xmlChar**, int nbAttributes, int, const xmlChar** attributes ) {
    auto& own = *static_cast<Counts*>( counts );
    const auto length = []( const xmlChar* text ) {
        return std::char_traits<char>::length( reinterpret_cast<const char*>( text ) );
    };
    ++own.nbElements;
    own.nbBytes += length( name );
    for( int i = 0; i < nbAttributes; ++i, attributes += 5 ) {
        own.nbBytes += length( attributes[0] );
        own.nbBytes += static_cast<std::size_t>( attributes[4] - attributes[3] );
    }
}

void readByLibxml2( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    xmlSAXHandler handler = {};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = beginLibxml2;
    Counts counts;
    for( auto _ : state ) {
        if( xmlSAXUserParseMemory( &handler, &counts, job.data(),
                                   static_cast<int>( job.size() ) ) != 0 ) {
            state.SkipWithError( "libxml2 refuses the job" );
        }
    }
    report( state, counts );
}
BENCHMARK( readByLibxml2 )->Name( "events/libxml2" );
#endif

} // namespace
