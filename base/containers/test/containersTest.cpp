#include <base/containers/deque.h>
#include <base/containers/hashMap.h>
#include <base/containers/list.h>
#include <base/containers/map.h>
#include <base/containers/set.h>
#include <base/containers/vector.h>
#include <base/ownership/uPtr.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace Qv {

namespace {

template <class Container>
Container make( std::initializer_list<int> values ) {
    Container result;
    for( int value : values ) {
        if constexpr( requires { typename Container::mapped_type; } ) {
            result[value] = std::to_string( value );
        } else {
            result.insert( result.end(), value );
        }
    }
    return result;
}

int keyOf( int element ) {
    return element;
}
int keyOf( const std::pair<const int, std::string>& element ) {
    return element.first;
}

} // namespace

template <class Container>
class CheckedContainerTest : public testing::Test {};

using Containers = testing::Types<Vector<int>, List<int>, Deque<int>, Set<int>,
                                  Map<int, std::string>, HashMap<int, std::string>>;
TYPED_TEST_SUITE( CheckedContainerTest, Containers );

TYPED_TEST( CheckedContainerTest, HandleVisitsEachElementOnceAndRaisesAtTheEnd ) {
    const auto container = make<TypeParam>( { 5, 1, 9 } );
    std::multiset<int> seen;
    auto it = container.getIterator();
    for( ; !it.isAtEnd(); ++it ) {
        seen.insert( keyOf( *it ) );
    }
    EXPECT_EQ( seen, ( std::multiset<int>{ 1, 5, 9 } ) );
    const TypeParam empty;
    for( const auto& none : { it, empty.getIterator(), decltype( it )() } ) {
        auto end = none;
        EXPECT_THROW( *end, IteratorEx::ExOutOfRange );
        EXPECT_THROW( ++end, IteratorEx::ExOutOfRange );
        EXPECT_TRUE( end.isAtEnd() );
    }
}

TYPED_TEST( CheckedContainerTest, CopiedHandlesMoveIndependently ) {
    const auto container = make<TypeParam>( { 1, 2, 3 } );
    auto it = container.getIterator();
    const auto start = it;
    EXPECT_TRUE( it == start );
    const int first = keyOf( *it );
    ++it;
    EXPECT_EQ( keyOf( *start ), first );
    EXPECT_NE( keyOf( *it ), first );
    EXPECT_FALSE( it == start );
    auto behind = start;
    ++behind;
    EXPECT_TRUE( it == behind );
}

TEST( ContainersTest, ASetOfPointersFindsThemByTheirAddresses ) {
    int numbers[] = { 3, 2, 1 };
    Set<UPtr<int>> set{ &numbers[2], &numbers[0], &numbers[0] };
    EXPECT_EQ( set.size(), 2u );
    EXPECT_TRUE( set.contains( &numbers[2] ) );
    EXPECT_FALSE( set.contains( &numbers[1] ) );
    EXPECT_EQ( **set.getIterator(), 3 );
}

TEST( ContainersTest, HandleGivesWriteAccessOnlyWhereTheContainerDoes ) {
    Vector<int> numbers{ 1, 2 };
    Iterator<int> it = numbers.getIterator();
    *it = 7;
    EXPECT_EQ( numbers.front(), 7 );
    ++it;
    const ConstIterator<int> readOnly = it;
    EXPECT_EQ( &*readOnly, &numbers.back() );

    HashMap<std::string, std::string> texts{ { "key", "old" } };
    texts.getIterator()->second = "new";
    EXPECT_EQ( texts["key"], "new" );

    using OfConst = decltype( std::as_const( numbers ).getIterator() );
    using OfSet = decltype( std::declval<Set<int>&>().getIterator() );
    static_assert( std::is_same_v<OfConst, ConstIterator<int>> );
    static_assert( std::is_same_v<OfSet, ConstIterator<int>> );
    static_assert( !std::is_convertible_v<ConstIterator<int>, Iterator<int>> );
}

} // namespace Qv
