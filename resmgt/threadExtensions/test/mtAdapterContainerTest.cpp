#include <resmgt/threadExtensions/mtAdapterContainer.h>

#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <random>

namespace Qv {
namespace {

/// Beside a plain vector of all items: the next wanted one is the first, or the greatest.
template <class Container>
class MtAdapterContainerTest : public ::testing::Test {
protected:
    using Adapter = MtAdapterContainer<Container>;

    static constexpr bool IS_SORTED =
        !std::is_same_v<Container, std::queue<int, typename Container::container_type>>;

    template <class IsWanted>
    int takeFromModel( IsWanted isWanted ) {
        auto best = std::find_if( _model.begin(), _model.end(), isWanted );
        for( auto place = best; IS_SORTED && place != _model.end(); ++place ) {
            if( isWanted( *place ) && *best < *place ) {
                best = place;
            }
        }
        const int value = *best;
        _model.erase( best );
        return value;
    }

    Container _container;
    std::vector<int> _model;
};

using Kinds = ::testing::Types<std::queue<int>, std::priority_queue<int>,
                               std::priority_queue<int, std::deque<int>>>;
TYPED_TEST_SUITE( MtAdapterContainerTest, Kinds );

TYPED_TEST( MtAdapterContainerTest, ItemsComeOutInTheOrderOfTheKindWhoeverTakesThem ) {
    using Kind = typename TestFixture::Adapter;
    std::minstd_rand random( static_cast<unsigned int>( testSeed() ) );
    for( long round = scaledCount( 20'000 ); round > 0; --round ) {
        const int divisor = 1 + static_cast<int>( random() % 4 );
        const auto isWanted = [&]( int value ) { return value % divisor == 0; };
        const auto isAny = []( int ) { return true; };
        const bool hasWanted = std::any_of( this->_model.begin(), this->_model.end(), isWanted );
        switch( random() % 8 ) {
        case 0:
            if( !this->_model.empty() ) {
                EXPECT_EQ( Kind::pop( this->_container ), this->takeFromModel( isAny ) );
            }
            break;
        case 1: {
            const std::optional<int> value = Kind::popIf( this->_container, isWanted );
            ASSERT_EQ( value.has_value(), hasWanted );
            if( value ) {
                EXPECT_EQ( *value, this->takeFromModel( isWanted ) );
            }
            break;
        }
        case 2: {
            std::vector<int> taken{ -7 };
            Kind::popAllIf( this->_container, isWanted, taken );
            std::vector<int> expected{ -7 };
            while( std::any_of( this->_model.begin(), this->_model.end(), isWanted ) ) {
                expected.push_back( this->takeFromModel( isWanted ) );
            }
            EXPECT_EQ( taken, expected );
            break;
        }
        default:
            this->_model.push_back( static_cast<int>( random() % 1000 ) );
            Kind::push( this->_container, this->_model.back() );
        }
        ASSERT_EQ( this->_container.size(), this->_model.size() );
    }
}

} // namespace
} // namespace Qv
