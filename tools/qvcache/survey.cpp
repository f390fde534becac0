#include <tools/qvcache/survey.h>

#include <algorithm>

namespace Qv::Cache {

namespace {

void add( Survey& survey, const CtCacheEntry& entry ) {
    if( entry.kind == CtCacheEntry::LEVEL ) {
        return;
    }
    survey.entries.push_back( entry );
    survey.nbProbes += entry.kind == CtCacheEntry::PROBE ? 1 : 0;
    survey.nbForeign += entry.kind == CtCacheEntry::FOREIGN ? 1 : 0;
    if( entry.kind == CtCacheEntry::BLOCK ) {
        SessionSurvey& session = survey.sessions[getSession( entry.id )];
        ++session.nbBlocks;
        session.nbBytes += entry.size;
        ++survey.nbBlocks;
        survey.nbBytes += entry.size;
    }
}

} // namespace

std::uint32_t getSession( CtSerialId id ) noexcept {
    return static_cast<std::uint32_t>( std::uint64_t( id ) >> 32U );
}

Survey makeSurvey( const CtCacheDirectory& cache ) {
    Survey survey;
    cache.visit( [&]( const CtCacheEntry& entry ) { add( survey, entry ); } );
    std::ranges::sort( survey.entries, {}, &CtCacheEntry::path );
    for( auto& [number, session] : survey.sessions ) {
        session.state = cache.getState( number );
    }
    return survey;
}

} // namespace Qv::Cache
