#pragma once

#include <resmgt/random/rnHaltonBiRng.h>
#include <resmgt/random/rnUnitRng.h>
#include <resmgt/random/rnXoshiroUniformRng.h>

#include <base/failure/assertions.h>
#include <tests/support/raisedBy.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

inline constexpr double PI = std::numbers::pi;
inline constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double INF = std::numeric_limits<double>::infinity();

/// For float and double.
template <class T>
class RnTestBase : public ::testing::Test {
protected:
    static constexpr double EPSILON = std::numeric_limits<T>::epsilon();
    static constexpr T BELOW_ONE = T( 1 ) - std::numeric_limits<T>::epsilon() / 2;

    static std::string assertionOf( const std::function<void()>& body ) {
        return raisedBy<ExAssertionFailed>( body );
    }
    static std::vector<T> take( RnRng<T>& generator, unsigned int n ) {
        std::vector<T> values( n );
        generator.getSequence( n, values.data() );
        return values;
    }
    /// Kolmogorov and Smirnov's distance times sqrt( n ); above 2.7 once in a million times.
    static double distance( std::vector<T> values, const std::function<double( double )>& share ) {
        std::sort( values.begin(), values.end() );
        const double n = static_cast<double>( values.size() );
        double largest = 0;
        for( std::size_t i = 0; i < values.size(); ++i ) {
            largest =
                std::max( largest, std::abs( share( values[i] ) - ( double( i ) + 0.5 ) / n ) );
        }
        return largest * std::sqrt( n );
    }
    /// The means of the first four powers, and the variances of those powers.
    static void expectMoments( const std::vector<T>& values, const double ( &means )[4],
                               const double ( &variances )[4] ) {
        const double n = static_cast<double>( values.size() );
        double sums[4] = {};
        for( const T value : values ) {
            double power = 1;
            for( double& sum : sums ) {
                sum += power *= value;
            }
        }
        for( int k = 0; k < 4; ++k ) {
            EXPECT_NEAR( sums[k] / n, means[k], 5 * std::sqrt( variances[k] / n ) ) << k;
        }
    }

    RnXoshiroUniformRng<T> _fair{ 99 };
    RnHaltonBiRng<T> _square;
};

using RnTypes = ::testing::Types<float, double>;

/// Gives the numbers of a script again and again, and counts them.
template <class T>
class Script : public RnUnitRng<T> {
public:
    explicit Script( std::vector<double> numbers )
        : _numbers( std::move( numbers ) ) {}

    T operator()() override { return static_cast<T>( _numbers[_nbTaken++ % _numbers.size()] ); }
    void getSequence( unsigned int n, T* values ) override {
        for( unsigned int i = 0; i < n; ++i ) {
            values[i] = ( *this )();
        }
    }
    void restart() override { _nbTaken = 0; }
    char const* getName() const override { return "Script"; }

    std::vector<double> _numbers;
    std::size_t _nbTaken = 0;
};

/// The points of one sequence.
template <class T, class Multi>
std::vector<std::vector<double>> takeMany( Multi& generator, unsigned int n, std::size_t dims ) {
    std::vector<std::vector<T>> arrays( dims, std::vector<T>( n ) );
    T* pointers[4] = {};
    for( std::size_t d = 0; d < dims; ++d ) {
        pointers[d] = arrays[d].data();
    }
    if constexpr( requires { generator.getSequence( n, pointers[0] ); } ) {
        generator.getSequence( n, pointers[0] );
    } else if constexpr( requires { generator.getSequence( n, pointers[0], pointers[1] ); } ) {
        generator.getSequence( n, pointers[0], pointers[1] );
    } else {
        generator.getSequence( n, pointers );
    }
    std::vector<std::vector<double>> points( n, std::vector<double>( dims ) );
    for( std::size_t i = 0; i < n; ++i ) {
        for( std::size_t d = 0; d < dims; ++d ) {
            points[i][d] = arrays[d][i];
        }
    }
    return points;
}

} // namespace Qv
