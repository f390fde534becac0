#include <resmgt/random/rnInverseGaussianRng.h>

#include <algorithm>
#include <cmath>

namespace Qv {

namespace {

constexpr double LOWEST = 0x1p-54;
constexpr double HIGHEST = 1 - 0x1p-53;

// A rational function: the coefficients of x^0 to x^7 above and below the fraction bar, side by
// side so that the compiler does both at once. Sums of pairs and fours (Estrin) don't wait for each
// other as Horner's do.
struct Rational7 {
    double _coefficients[8][2];

    double operator()( double x ) const {
        const double x2 = x * x;
        const double x4 = x2 * x2;
        const auto& c = _coefficients;
        double sums[2];
        for( int i = 0; i < 2; ++i ) {
            sums[i] = ( c[0][i] + c[1][i] * x ) + ( c[2][i] + c[3][i] * x ) * x2 +
                      ( ( c[4][i] + c[5][i] * x ) + ( c[6][i] + c[7][i] * x ) * x2 ) * x4;
        }
        return sums[0] / sums[1];
    }
};

// Wichura, Algorithm AS 241, Applied Statistics 37 (1988), the accurate version PPND16.
constexpr Rational7 CENTRE = { {
    { 3.3871328727963666080e0, 1.0 },
    { 1.3314166789178437745e2, 4.2313330701600911252e1 },
    { 1.9715909503065514427e3, 6.8718700749205790830e2 },
    { 1.3731693765509461125e4, 5.3941960214247511077e3 },
    { 4.5921953931549871457e4, 2.1213794301586595867e4 },
    { 6.7265770927008700853e4, 3.9307895800092710610e4 },
    { 3.3430575583588128105e4, 2.8729085735721942674e4 },
    { 2.5090809287301226727e3, 5.2264952788528545610e3 },
} };
constexpr Rational7 SIDES = { {
    { 1.42343711074968357734e0, 1.0 },
    { 4.63033784615654529590e0, 2.05319162663775882187e0 },
    { 5.76949722146069140550e0, 1.67638483018380384940e0 },
    { 3.64784832476320460504e0, 6.89767334985100004550e-1 },
    { 1.27045825245236838258e0, 1.48103976427480074590e-1 },
    { 2.41780725177450611770e-1, 1.51986665636164571966e-2 },
    { 2.27238449892691845833e-2, 5.47593808499534494600e-4 },
    { 7.74545014278341407640e-4, 1.05075007164441684324e-9 },
} };
constexpr Rational7 TAILS = { {
    { 6.65790464350110377720e0, 1.0 },
    { 5.46378491116411436990e0, 5.99832206555887937690e-1 },
    { 1.78482653991729133580e0, 1.36929880922735805310e-1 },
    { 2.96560571828504891230e-1, 1.48753612908506148525e-2 },
    { 2.65321895265761230930e-2, 7.86869131145613259100e-4 },
    { 1.24266094738807843860e-3, 1.84631831751005468180e-5 },
    { 2.71155556874348757815e-5, 1.42151175831644588870e-7 },
    { 2.01033439929228813265e-7, 2.04426310338993978564e-15 },
} };

// Whether a number belongs to the tails; one that isn't a number does.
bool isInTail( double u ) {
    return !( std::abs( u - 0.5 ) <= 0.425 );
}

double inverseInCentre( double u ) {
    const double q = u - 0.5;
    return q * CENTRE( 0.180625 - q * q );
}

double inverseInTail( double u ) {
    const double q = u - 0.5;
    const double p = std::clamp( u, LOWEST, HIGHEST );
    const double r = std::sqrt( -std::log( q < 0 ? p : 1 - p ) );
    const double distance = r <= 5 ? SIDES( r - 1.6 ) : TAILS( r - 5 );
    return q < 0 ? -distance : distance;
}

} // namespace

template <class T>
RnInverseGaussianRng<T>::RnInverseGaussianRng( RnRng<T>* source )
    : RnInverseGaussianRng( source, 0, 1 ) {}

template <class T>
RnInverseGaussianRng<T>::RnInverseGaussianRng( RnRng<T>* source, T mean, T sigma )
    : RnNormalRng<T>( source, mean, sigma ) {}

template <class T>
T RnInverseGaussianRng<T>::map( T u ) {
    return static_cast<T>( isInTail( u ) ? inverseInTail( u ) : inverseInCentre( u ) );
}

template <class T>
T RnInverseGaussianRng<T>::operator()() {
    return this->scale( map( this->getSource()() ) );
}

template <class T>
void RnInverseGaussianRng<T>::getSequence( unsigned int n, T* values ) {
    constexpr unsigned int nbAtOnce = 64;
    T us[nbAtOnce];
    for( unsigned int rest = n; rest > 0; ) {
        const unsigned int nbNow = std::min( rest, nbAtOnce );
        this->getSource().getSequence( nbNow, us );
        // Without a branch the compiler does several at once; the tails' 15 % come again.
        for( unsigned int i = 0; i < nbNow; ++i ) {
            values[i] = this->scale( static_cast<T>( inverseInCentre( us[i] ) ) );
        }
        for( unsigned int i = 0; i < nbNow; ++i ) {
            if( isInTail( us[i] ) ) {
                values[i] = this->scale( static_cast<T>( inverseInTail( us[i] ) ) );
            }
        }
        values += nbNow;
        rest -= nbNow;
    }
}

template <class T>
char const* RnInverseGaussianRng<T>::getName() const {
    return "Inverse Gaussian";
}

template class QV_INSTANCE_API RnInverseGaussianRng<float>;
template class QV_INSTANCE_API RnInverseGaussianRng<double>;

} // namespace Qv
