#include <resmgt/osal/osFilePath.h>

#include <benchmark/benchmark.h>
#ifdef QV_PEER_BOOST_FILESYSTEM
#    include <boost/filesystem.hpp>
#endif

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

/// Paths as a compositing session handles them: frames of plates and renders, in trees that are
/// eight deep, and settings of the user. One in ten was typed or put together by a person, with
/// "//", "./" or "../" in it. Each iteration treats all of them.

namespace {

using Qv::OsFilePath;

constexpr int NB_PATHS = 10000;

std::vector<std::string> makeTexts() {
    static const char* const kinds[] = { "plates", "renders/beauty", "mattes", "tracking" };
    static const char* const odd[] = { "//", "/./", "/../sh0010/" };
    std::vector<std::string> texts;
    std::mt19937_64 random( 7 );
    for( int i = 0; i < NB_PATHS; ++i ) {
        const auto shot = static_cast<unsigned int>( random() % 200 * 10 );
        const auto version = static_cast<unsigned int>( random() % 20 );
        const char* const kind = kinds[random() % 4];
        const char* const joint = random() % 10 == 0 ? odd[random() % 3] : "/";
        char text[256];
        std::snprintf( text, sizeof( text ),
                       "/mnt/projects/nightfall/seq%03u%ssh%04u/%s/v%03u/sh%04u_v%03u.%04lu.exr",
                       shot / 100, joint, shot, kind, version, shot, version, random() % 500 );
        texts.emplace_back( random() % 20 == 0 ? "/home/artist/.config/app/settings.xml" : text );
    }
    return texts;
}

const std::vector<std::string>& texts() {
    static const std::vector<std::string> made = makeTexts();
    return made;
}

struct Ours {
    using Path = OsFilePath;
    static Path parse( const std::string& text ) { return Path( text ); }
    static Path join( const Path& left, const Path& right ) { return left + right; }
    static const std::string& print( const Path& path ) { return path.toString(); }
};

template <class PeerPath>
struct Peer {
    using Path = PeerPath;
    static Path parse( const std::string& text ) { return Path( text ).lexically_normal(); }
    static Path join( const Path& left, const Path& right ) {
        return ( left / right ).lexically_normal();
    }
    static const std::string& print( const Path& path ) { return path.native(); }
};

template <class Library>
std::vector<typename Library::Path> parsed() {
    std::vector<typename Library::Path> paths;
    for( const std::string& text : texts() ) {
        paths.push_back( Library::parse( text ) );
    }
    return paths;
}

template <class Library>
void parse( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const std::string& text : texts() ) {
            benchmark::DoNotOptimize( Library::parse( text ) );
        }
    }
}

template <class Library>
void parseAndPrint( benchmark::State& state ) {
    for( auto _ : state ) {
        for( const std::string& text : texts() ) {
            benchmark::DoNotOptimize( Library::print( Library::parse( text ) ).size() );
        }
    }
}

template <class Library>
void compare( benchmark::State& state ) {
    const auto paths = parsed<Library>();
    for( auto _ : state ) {
        for( std::size_t i = 1; i < paths.size(); ++i ) {
            benchmark::DoNotOptimize( paths[i].compare( paths[i - 1] ) );
        }
    }
}

template <class Library>
void join( benchmark::State& state ) {
    const auto paths = parsed<Library>();
    const auto name = Library::parse( "proxies/half.exr" );
    for( auto _ : state ) {
        for( const auto& path : paths ) {
            benchmark::DoNotOptimize( Library::join( path, name ) );
        }
    }
}

template <class Library>
void all( benchmark::State& state ) {
    const auto name = Library::parse( "proxies/half.exr" );
    for( auto _ : state ) {
        auto before = Library::parse( "/" );
        for( const std::string& text : texts() ) {
            auto path = Library::parse( text );
            benchmark::DoNotOptimize( Library::print( path ).size() );
            benchmark::DoNotOptimize( path.compare( before ) );
            benchmark::DoNotOptimize( Library::join( path, name ) );
            before = std::move( path );
        }
    }
}

template <class Library>
bool registerAs( const std::string& name ) {
    const std::pair<const char*, void ( * )( benchmark::State& )> works[] = {
        { "paths/parse/", parse<Library> },     { "paths/parsePrint/", parseAndPrint<Library> },
        { "paths/compare/", compare<Library> }, { "paths/join/", join<Library> },
        { "paths/all/", all<Library> },
    };
    for( const auto& [work, function] : works ) {
        benchmark::RegisterBenchmark( ( work + name ).c_str(), function );
    }
    return true;
}

[[maybe_unused]] const bool isRegistered[] = {
    registerAs<Ours>( "Qv" ),
    registerAs<Peer<std::filesystem::path>>( "std" ),
#ifdef QV_PEER_BOOST_FILESYSTEM
    registerAs<Peer<boost::filesystem::path>>( "boost" ),
#endif
};

} // namespace
