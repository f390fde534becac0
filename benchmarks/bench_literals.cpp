#include <base/init/inInitGuard.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/literals/liTimeCodeFactory.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>

/// Timecodes: a drop-frame label written and read, beside one call of the C library for the same
/// text. Ours also count the labels that are left out. Patterns: in bytes of text a second.

namespace {

using namespace Qv;

RCShdPtr<LiTimeCode> dropFrame() {
    return LiTimeCodeFactory::getInstance().create( LiRateRegistry::getInstance().get( "F29_97" ),
                                                    true );
}

const char* const LABEL = "13;47;59;28";

void generate( benchmark::State& state ) {
    const RCShdPtr<LiTimeCode> code = dropFrame();
    std::int64_t frame = 0;
    for( auto _ : state ) {
        benchmark::DoNotOptimize( code->generate( DtTimeIndex( frame++ ) ) );
    }
}
BENCHMARK( generate )->Name( "label/generate" );

void print( benchmark::State& state ) {
    int parts[] = { 13, 47, 59, 28 };
    benchmark::DoNotOptimize( parts );
    for( auto _ : state ) {
        char label[32];
        std::snprintf( label, sizeof( label ), "%02d;%02d;%02d;%02d", parts[0], parts[1], parts[2],
                       parts[3] );
        benchmark::DoNotOptimize( label );
    }
}
BENCHMARK( print )->Name( "label/snprintf" );

void getTime( benchmark::State& state ) {
    const RCShdPtr<LiTimeCode> code = dropFrame();
    const std::string label = LABEL;
    for( auto _ : state ) {
        benchmark::DoNotOptimize( code->getTime( label ).getIndex().getValue() );
    }
}
BENCHMARK( getTime )->Name( "label/getTime" );

void scan( benchmark::State& state ) {
    for( auto _ : state ) {
        int parts[4];
        std::sscanf( LABEL, "%d;%d;%d;%d", &parts[0], &parts[1], &parts[2], &parts[3] );
        benchmark::DoNotOptimize( parts );
    }
}
BENCHMARK( scan )->Name( "label/sscanf" );

/// A megabyte of prose in which every hundredth word is one of three patterns, of a hundred.
void substitute( benchmark::State& state ) {
    LiStringSubstituter substituter;
    for( int i = 0; i < 100; ++i ) {
        substituter.addPattern( "<Env:VARIABLE_" + std::to_string( i ) + ">", "/some/folder" );
    }
    std::string text;
    for( int word = 0; text.size() < 1'000'000; ++word ) {
        text +=
            word % 100 == 0 ? "<Env:VARIABLE_" + std::to_string( word / 100 % 3 ) + "> " : "frame ";
    }
    for( auto _ : state ) {
        benchmark::DoNotOptimize( substituter.substitute( text ).size() );
    }
    state.SetBytesProcessed( static_cast<std::int64_t>( text.size() ) * state.iterations() );
}
BENCHMARK( substitute )->Name( "substitute/LiStringSubstituter" );

} // namespace

int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const char* const* arguments = argv;
    const InInitGuard packages( argc, arguments );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
