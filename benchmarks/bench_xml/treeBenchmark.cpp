#include "documents.h"

#include <resmgt/xml/xmlDocument.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <optional>

#ifdef QV_PEER_PUGIXML
#    include <pugixml.hpp>
#endif
#ifdef QV_PEER_RAPIDXML
#    include <rapidxml/rapidxml.hpp>
#endif

#include <malloc.h>

/// Trees: made of a text and destroyed, written as a text, and taking memory; and the time that
/// very deep and very wide ones take for an element.

namespace {

using namespace Qv;

void countBytes( benchmark::State& state ) {
    state.SetBytesProcessed( state.iterations() * std::int64_t{ BenchXml::JOB_SIZE } );
}

double getHeap() {
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<double>( heap.uordblks + heap.hblkhd );
}

/// What a tree adds to the heap, of which the first one is kept for a moment.
class HeapUse {
public:
    void note( benchmark::State& state ) {
        if( state.counters.find( "heap" ) == state.counters.end() ) {
            state.counters["heap"] = getHeap() - _before;
        }
    }

private:
    const double _before = getHeap();
};

void readTree( benchmark::State& state, bool isStrict ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    XmlReadOptions options;
    options.strict = isStrict;
    HeapUse heap;
    for( auto _ : state ) {
        XmlDocument document;
        document.loadText( job, options );
        heap.note( state );
    }
    countBytes( state );
}
BENCHMARK_CAPTURE( readTree, lenient, false )->Name( "tree/Qv" );
BENCHMARK_CAPTURE( readTree, strict, true )->Name( "tree/Qv/strict" );

void writeTree( benchmark::State& state ) {
    XmlDocument document;
    document.loadText( BenchXml::makeJob( BenchXml::JOB_SIZE ) );
    for( auto _ : state ) {
        benchmark::DoNotOptimize( document.streamToString( 4 ).data() );
    }
    countBytes( state );
}
BENCHMARK( writeTree )->Name( "text/Qv" );

void cloneTree( benchmark::State& state ) {
    XmlDocument document;
    document.loadText( BenchXml::makeJob( BenchXml::JOB_SIZE ) );
    for( auto _ : state ) {
        benchmark::DoNotOptimize( document.getRoot()->clone().get() );
    }
    countBytes( state );
}
BENCHMARK( cloneTree )->Name( "clone/Qv" );

#ifdef QV_PEER_RAPIDXML
/// In the text itself, of which a copy belongs to the work of everybody who wants to keep it.
void readByRapidxml( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    HeapUse heap;
    for( auto _ : state ) {
        std::string copy = job;
        rapidxml::xml_document<> document;
        document.parse<rapidxml::parse_default>( copy.data() );
        heap.note( state );
    }
    countBytes( state );
}
BENCHMARK( readByRapidxml )->Name( "tree/rapidxml" );
#endif

#ifdef QV_PEER_PUGIXML
void readByPugixml( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    HeapUse heap;
    for( auto _ : state ) {
        pugi::xml_document document;
        document.load_buffer( job.data(), job.size() );
        heap.note( state );
    }
    countBytes( state );
}
BENCHMARK( readByPugixml )->Name( "tree/pugixml" );

struct StringWriter : pugi::xml_writer {
    void write( const void* data, std::size_t size ) override {
        text.append( static_cast<const char*>( data ), size );
    }

    std::string text;
};

void writeByPugixml( benchmark::State& state ) {
    const std::string job = BenchXml::makeJob( BenchXml::JOB_SIZE );
    pugi::xml_document document;
    document.load_buffer( job.data(), job.size() );
    for( auto _ : state ) {
        StringWriter writer;
        document.save( writer, "    " );
        benchmark::DoNotOptimize( writer.text.data() );
    }
    countBytes( state );
}
BENCHMARK( writeByPugixml )->Name( "text/pugixml" );
#endif

/// Read, copied, written and destroyed.
void useTree( benchmark::State& state, const std::string& text ) {
    for( auto _ : state ) {
        XmlDocument document;
        document.loadText( text );
        benchmark::DoNotOptimize( document.getRoot()->clone()->toString().data() );
    }
    state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

void useDeepTree( benchmark::State& state ) {
    std::string text;
    for( std::int64_t i = 0; i < state.range( 0 ); ++i ) {
        text += "<a>";
    }
    useTree( state, text );
}
BENCHMARK( useDeepTree )->Name( "deep/Qv" )->RangeMultiplier( 10 )->Range( 10000, 1000000 );

void useWideTree( benchmark::State& state ) {
    std::string text = "<a>";
    for( std::int64_t i = 0; i < state.range( 0 ); ++i ) {
        text += "<b/>";
    }
    useTree( state, text + "</a>" );
}
BENCHMARK( useWideTree )->Name( "wide/Qv" )->RangeMultiplier( 10 )->Range( 10000, 1000000 );

/// All attributes at one element.
void useManyAttributes( benchmark::State& state ) {
    std::string text = "<a";
    for( std::int64_t i = 0; i < state.range( 0 ); ++i ) {
        text += " a" + std::to_string( i ) + "=\"\"";
    }
    useTree( state, text + "/>" );
}
BENCHMARK( useManyAttributes )
    ->Name( "attributes/Qv" )
    ->RangeMultiplier( 10 )
    ->Range( 10000, 1000000 );

} // namespace
