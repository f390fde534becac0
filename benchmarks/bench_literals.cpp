#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inInitGuard.h>
#include <base/init/inVariable.h>
#include <resmgt/initVars/inTextFile.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/literals/liTimeCodeFactory.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

/// Timecodes: a drop-frame label written and read, beside inline functions that somebody wrote for
/// this one format, and beside one call of the C library for the same text, which doesn't count the
/// labels that are left out. Patterns and init files: in bytes of text a
/// second. Variables: what a read costs.

namespace Qv {

namespace QvInit {

struct literalsBenchmark {};

} // namespace QvInit

template <>
InInit<QvInit::literalsBenchmark>::InInit()
    : InPackageInit( "literalsBenchmark" ) {
    registerPackage();
    dependsOn<QvInit::base>();
}

} // namespace Qv

namespace {

using namespace Qv;

InInit<QvInit::literalsBenchmark> package;
const InVariable<int> variable( "ombra::benchmark::number", package,
                                InContextAlias<InInitDef, 0>( "5", "" ) );

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

/// Labels of drop-frame at 29.97 by hand. All divisors are known to the compiler.
namespace ByHand {

void writeTwo( char* text, unsigned number ) {
    text[0] = static_cast<char>( '0' + number / 10 );
    text[1] = static_cast<char>( '0' + number % 10 );
}

/// REQUIRES: room for 11 characters.
void write( std::int64_t frame, char* text ) {
    frame %= 2589408;
    auto place = static_cast<unsigned>( frame < 0 ? frame + 2589408 : frame );
    const unsigned rest = place % 17982;
    place += 18 * ( place / 17982 ) + ( rest < 2 ? 0 : 2 * ( ( rest - 2 ) / 1798 ) );
    const unsigned second = place / 30;
    writeTwo( text, second / 3600 );
    writeTwo( text + 3, second / 60 % 60 );
    writeTwo( text + 6, second % 60 );
    writeTwo( text + 9, place % 30 );
    text[2] = text[5] = text[8] = ';';
}

/// At least 100 where there are no two digits.
unsigned readTwo( const char* text ) {
    const unsigned tens = static_cast<unsigned char>( text[0] ) - unsigned( '0' );
    const unsigned ones = static_cast<unsigned char>( text[1] ) - unsigned( '0' );
    return tens > 9 || ones > 9 ? 100 : tens * 10 + ones;
}

/// -1 for what is no label.
std::int64_t read( const std::string& label ) {
    const char* const text = label.data();
    if( label.size() != 11 || text[2] != ';' || text[5] != ';' || text[8] != ';' ) {
        return -1;
    }
    const unsigned hours = readTwo( text );
    const unsigned minutes = readTwo( text + 3 );
    const unsigned seconds = readTwo( text + 6 );
    const unsigned frames = readTwo( text + 9 );
    if( hours > 23 || minutes > 59 || seconds > 59 || frames > 29 ) {
        return -1;
    }
    const unsigned minute = hours * 60 + minutes;
    const unsigned frame = ( minute * 60 + seconds ) * 30 + frames - 2 * ( minute - minute / 10 );
    const bool isDropped = seconds == 0 && frames < 2 && minute % 10 != 0;
    return isDropped ? frame + 2 - frames : frame;
}

} // namespace ByHand

void generateByHand( benchmark::State& state ) {
    std::int64_t frame = 0;
    for( auto _ : state ) {
        char label[11];
        ByHand::write( frame++, label );
        benchmark::DoNotOptimize( std::string( label, sizeof( label ) ) );
    }
}
BENCHMARK( generateByHand )->Name( "label/generate by hand" );

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
    std::string label = LABEL;
    for( auto _ : state ) {
        benchmark::DoNotOptimize( label );
        benchmark::DoNotOptimize( code->getTime( label ).getIndex().getValue() );
    }
}
BENCHMARK( getTime )->Name( "label/getTime" );

void getTimeByHand( benchmark::State& state ) {
    std::string label = LABEL;
    for( auto _ : state ) {
        benchmark::DoNotOptimize( label );
        benchmark::DoNotOptimize( ByHand::read( label ) );
    }
}
BENCHMARK( getTimeByHand )->Name( "label/getTime by hand" );

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

/// 10 MB of settings in groups of ten, with a comment before each group and one behind a value.
void writeSettings( const std::filesystem::path& path ) {
    std::ofstream stream( path );
    for( int i = 0; stream.tellp() < 10'000'000; ++i ) {
        if( i % 10 == 0 ) {
            stream << "\n# Settings of the group " << i / 10 << ", as they were delivered\n";
        }
        stream << "ombra::group" << i / 10 << "::setting" << i % 10 << " = a value of number " << i
               << ( i % 10 == 5 ? " # not in use\n" : "\n" );
    }
}

void readInitFile( benchmark::State& state ) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / "bench_literals.ini";
    writeSettings( path );
    for( auto _ : state ) {
        HashMap<std::string, std::string> map;
        InTextFile::readNameValuePair( path.c_str(), map, true );
        benchmark::DoNotOptimize( map );
        // Giving the map's memory back is no part of reading. The next map finds the heap as a
        // program's first one does.
        state.PauseTiming();
        map.clear();
        ::malloc_trim( 0 );
        state.ResumeTiming();
    }
    state.SetBytesProcessed( state.iterations() *
                             static_cast<std::int64_t>( std::filesystem::file_size( path ) ) );
    std::filesystem::remove( path );
}
BENCHMARK( readInitFile )->Name( "settings/readNameValuePair" )->Unit( benchmark::kMillisecond );

void getValue( benchmark::State& state ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( variable.getValue() );
    }
}
BENCHMARK( getValue )->Name( "settings/InVariable::getValue" );

} // namespace

int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const InInitGuard packages( argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
