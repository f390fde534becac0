#include <resmgt/random/rnGaussianRng.h>
#include <resmgt/random/rnHaltonMultiRng.h>
#include <resmgt/random/rnInverseGaussianRng.h>
#include <resmgt/random/rnLecuyerUniformRng.h>
#include <resmgt/random/rnNiederreiterMultiRng.h>
#include <resmgt/random/rnNumRecUniformRng.h>
#include <resmgt/random/rnScrambledMultiRng.h>
#include <resmgt/random/rnXoshiroUniformRng.h>

#include <benchmark/benchmark.h>

#if defined( QV_PEER_BOOST_RANDOM )
#    include <boost/random/normal_distribution.hpp>
#    include <boost/random/taus88.hpp>
#    include <boost/random/uniform_01.hpp>
#endif
#if defined( QV_PEER_GSL )
#    include <gsl/gsl_qrng.h>
#endif

#include <random>
#include <vector>

/// Names end in the class that is measured, "Rn..." ours, the others the peers. A time is that of
/// one value, or of one point of four dimensions; all numbers are doubles.

namespace {

using namespace Qv;

constexpr unsigned int NB_AT_ONCE = 1024;

template <class Take>
void perValue( benchmark::State& state, Take take ) {
    for( auto _ : state ) {
        benchmark::DoNotOptimize( take() );
    }
}

// Time and items are those of whole sequences; the reciprocal of items a second is a value's time.
template <class Fill>
void perSequence( benchmark::State& state, Fill fill ) {
    for( auto _ : state ) {
        fill();
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed( state.iterations() * NB_AT_ONCE );
}

template <class Rng>
void single( benchmark::State& state ) {
    Rng rng;
    perValue( state, [&] { return rng(); } );
}
template <class Rng>
void sequence( benchmark::State& state ) {
    Rng rng;
    std::vector<double> values( NB_AT_ONCE );
    perSequence( state, [&] { rng.getSequence( NB_AT_ONCE, values.data() ); } );
}
template <class Normal>
void normal( benchmark::State& state ) {
    RnXoshiroUniformRng<double> source;
    Normal rng( &source );
    perValue( state, [&] { return rng(); } );
}
template <class Normal>
void normalSequence( benchmark::State& state ) {
    RnXoshiroUniformRng<double> source;
    Normal rng( &source );
    std::vector<double> values( NB_AT_ONCE );
    perSequence( state, [&] { rng.getSequence( NB_AT_ONCE, values.data() ); } );
}
template <class Rng>
void point( benchmark::State& state ) {
    Rng rng;
    double values[4];
    for( auto _ : state ) {
        rng.getSample( values );
        benchmark::DoNotOptimize( values );
    }
}
template <class Rng>
void pointSequence( benchmark::State& state ) {
    Rng rng;
    std::vector<double> values( 4 * NB_AT_ONCE );
    double* const arrays[] = { &values[0], &values[NB_AT_ONCE], &values[2 * NB_AT_ONCE],
                               &values[3 * NB_AT_ONCE] };
    perSequence( state, [&] { rng.getSequence( NB_AT_ONCE, arrays ); } );
}

BENCHMARK( single<RnXoshiroUniformRng<double>> )->Name( "uniform/RnXoshiroUniformRng" );
BENCHMARK( single<RnLecuyerUniformRng<double>> )->Name( "uniform/RnLecuyerUniformRng" );
BENCHMARK( single<RnNumRecUniformRng<double>> )->Name( "uniform/RnNumRecUniformRng" );
BENCHMARK( sequence<RnXoshiroUniformRng<double>> )->Name( "uniformSequence/RnXoshiroUniformRng" );
BENCHMARK( sequence<RnLecuyerUniformRng<double>> )->Name( "uniformSequence/RnLecuyerUniformRng" );
BENCHMARK( normal<RnGaussianRng<double>> )->Name( "normal/RnGaussianRng" );
BENCHMARK( normal<RnInverseGaussianRng<double>> )->Name( "normal/RnInverseGaussianRng" );
BENCHMARK( normalSequence<RnGaussianRng<double>> )->Name( "normalSequence/RnGaussianRng" );
BENCHMARK( normalSequence<RnInverseGaussianRng<double>> )
    ->Name( "normalSequence/RnInverseGaussianRng" );
BENCHMARK( point<RnNiederreiterMultiRng<double>> )->Name( "point/RnNiederreiterMultiRng" );
BENCHMARK( point<RnScrambledMultiRng<double>> )->Name( "point/RnScrambledMultiRng" );
BENCHMARK( point<RnHaltonMultiRng<double, 4>> )->Name( "point/RnHaltonMultiRng" );
BENCHMARK( pointSequence<RnNiederreiterMultiRng<double>> )
    ->Name( "pointSequence/RnNiederreiterMultiRng" );

void uniformStd( benchmark::State& state ) {
    std::mt19937_64 engine;
    std::uniform_real_distribution<double> uniform;
    perValue( state, [&] { return uniform( engine ); } );
}
void normalStd( benchmark::State& state ) {
    std::mt19937_64 engine;
    std::normal_distribution<double> distribution;
    perValue( state, [&] { return distribution( engine ); } );
}
BENCHMARK( uniformStd )->Name( "uniform/std_mt19937_64" );
BENCHMARK( normalStd )->Name( "normal/std_mt19937_64" );

#if defined( QV_PEER_BOOST_RANDOM )
void uniformBoost( benchmark::State& state ) {
    boost::random::taus88 engine;
    boost::random::uniform_01<double> uniform;
    perValue( state, [&] { return uniform( engine ); } );
}
void normalBoost( benchmark::State& state ) {
    boost::random::taus88 engine;
    boost::random::normal_distribution<double> distribution;
    perValue( state, [&] { return distribution( engine ); } );
}
BENCHMARK( uniformBoost )->Name( "uniform/boost_taus88" );
BENCHMARK( normalBoost )->Name( "normal/boost_ziggurat" );
#endif

#if defined( QV_PEER_GSL )
void pointGsl( benchmark::State& state ) {
    gsl_qrng* const sobol = gsl_qrng_alloc( gsl_qrng_sobol, 4 );
    double values[4];
    for( auto _ : state ) {
        gsl_qrng_get( sobol, values );
        benchmark::DoNotOptimize( values );
    }
    gsl_qrng_free( sobol );
}
BENCHMARK( pointGsl )->Name( "point/gsl_sobol" );
#endif

} // namespace

BENCHMARK_MAIN();
