#include <base/callbacks/cbDispatcher.h>
#include <base/callbacks/cbFunction.h>
#include <base/callbacks/cbMethod.h>
#include <base/failure/assertions.h>
#include <base/ownership/rcShdPtr.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace Qv {

namespace {

using ::testing::ElementsAre;

/// Writes its name into the log that is dispatched, then does what the test asks for.
using Log = std::vector<std::string>;

class Recorder : public CbHandler<Log> {
public:
    explicit Recorder( std::string name, std::function<void()> action = {} )
        : _name( std::move( name ) )
        , _action( std::move( action ) ) {}

    void call( Log& log ) override {
        log.push_back( _name );
        // The action may destroy this handler.
        const std::function<void()> action = _action;
        if( action ) {
            action();
        }
    }

private:
    const std::string _name;
    const std::function<void()> _action;
};

class CbDispatcherTest : public ::testing::Test {
protected:
    Log dispatched() {
        Log log;
        _dispatcher->dispatch( log );
        return log;
    }

    std::unique_ptr<CbDispatcher<Log>> _dispatcher = std::make_unique<CbDispatcher<Log>>();
};

TEST_F( CbDispatcherTest, AHandlerOutlivesOneOfItsDispatchers ) {
    CbDispatcher<Log> other;
    Recorder survivor( "survivor" );
    _dispatcher->add( survivor );
    other.add( survivor );
    _dispatcher.reset();
    Log log;
    other.dispatch( log );
    EXPECT_THAT( log, ElementsAre( "survivor" ) );
}

TEST_F( CbDispatcherTest, AHandlerMayDestroyTheDispatcherItIsCalledFrom ) {
    Recorder inner( "inner", [&] { _dispatcher.reset(); } );
    Log log;
    Recorder outer( "outer", [&] {
        if( _dispatcher != nullptr && _dispatcher->contains( inner ) ) {
            Log nested;
            _dispatcher->remove( outer );
            _dispatcher->dispatch( nested );
            EXPECT_THAT( nested, ElementsAre( "inner" ) );
        }
    } );
    Recorder after( "after" );
    for( Recorder* const handler : { &outer, &inner, &after } ) {
        _dispatcher->add( *handler );
    }
    CbDispatcher<Log>& dispatcher = *_dispatcher;
    dispatcher.dispatch( log );
    EXPECT_THAT( log, ElementsAre( "outer" ) );
}

TEST_F( CbDispatcherTest, AnExceptionEndsTheDispatchAndLeavesTheDispatcherUsable ) {
    Recorder thrower( "thrower", [&] { throw ExInternalError( QV_HERE, "handler" ); } );
    Recorder after( "after" );
    _dispatcher->add( thrower );
    _dispatcher->add( after );
    Log log;
    EXPECT_THROW( _dispatcher->dispatch( log ), ExInternalError );
    EXPECT_THAT( log, ElementsAre( "thrower" ) );
    _dispatcher->remove( thrower );
    EXPECT_THAT( dispatched(), ElementsAre( "after" ) );
}

// Each handler that is called adds, removes and destroys any of them, itself included.
TEST_F( CbDispatcherTest, RandomTrafficDuringADispatchAgreesWithAPlainModel ) {
    std::mt19937_64 random( testSeed() );
    std::vector<std::unique_ptr<Recorder>> handlers( 8 );
    Log model;
    // Of the model those that the dispatch has still to call.
    Log pending;
    std::function<void()> change;
    const auto make = [&]( const std::string& name ) {
        return std::make_unique<Recorder>( name, [&, name] {
            ASSERT_FALSE( pending.empty() );
            EXPECT_EQ( pending.front(), name );
            pending.erase( pending.begin() );
            for( std::size_t nb = random() % 6; nb > 0; --nb ) {
                change();
            }
        } );
    };
    change = [&] {
        const std::size_t i = random() % handlers.size();
        const std::string name = std::to_string( i );
        const bool isIn = std::ranges::find( model, name ) != model.end();
        EXPECT_EQ( handlers[i] && _dispatcher->contains( *handlers[i] ), isIn );
        if( handlers[i] && random() % 2 == 0 ) {
            _dispatcher->add( *handlers[i] );
            if( !isIn ) {
                model.push_back( name );
            }
            return;
        }
        if( handlers[i] && random() % 2 == 0 ) {
            _dispatcher->remove( *handlers[i] );
        } else {
            handlers[i] = make( name );
        }
        std::erase( model, name );
        std::erase( pending, name );
    };
    for( long round = scaledCount( 20000 ); round > 0; --round ) {
        change();
        pending = model;
        dispatched();
        ASSERT_TRUE( pending.empty() ) << pending.front();
    }
}

TEST( CbDispatcherLinksTest, AnyDispatchersAndHandlersMayJoinLeaveAndEnd ) {
    constexpr std::size_t NB = 6;
    std::mt19937_64 random( testSeed() );
    std::array<std::unique_ptr<CbDispatcher<Log>>, NB> dispatchers;
    std::array<std::unique_ptr<Recorder>, NB> handlers;
    // Of each dispatcher, the handlers in order.
    std::array<Log, NB> model;
    for( long round = scaledCount( 20000 ); round > 0; --round ) {
        const std::size_t d = random() % NB;
        const std::size_t h = random() % NB;
        const std::string name = std::to_string( h );
        const bool isIn = std::ranges::find( model[d], name ) != model[d].end();
        if( !dispatchers[d] || random() % 30 == 0 ) {
            dispatchers[d] = std::make_unique<CbDispatcher<Log>>();
            model[d].clear();
        } else if( !handlers[h] || random() % 30 == 0 ) {
            handlers[h] = std::make_unique<Recorder>( name );
            std::ranges::for_each( model, [&]( Log& names ) { std::erase( names, name ); } );
        } else if( random() % 3 == 0 ) {
            dispatchers[d]->remove( *handlers[h] );
            std::erase( model[d], name );
        } else {
            dispatchers[d]->add( *handlers[h] );
            model[d].insert( model[d].end(), isIn ? 0 : 1, name );
        }
        Log log;
        if( dispatchers[d] ) {
            dispatchers[d]->dispatch( log );
        }
        ASSERT_EQ( log, model[d] );
    }
}

void append( std::string& text ) {
    text += "f";
}

struct Counter {
    void add( const int& amount ) { _sum += amount; }
    void increment() { ++_sum; }

    int _sum = 0;
};

TEST( CbFunctionTest, EachKindOfHandlerCallsWhatItWasMadeOf ) {
    std::string text = ">";
    CbFunction<std::string> function( &append );
    function.call( text );
    CbDataFunction<std::string, std::string>(
        []( std::string& to, const std::string& value ) { to += value; }, "data" )
        .call( text );
    EXPECT_EQ( text, ">fdata" );

    static Counter counter;
    counter = {};
    CbMethod<Counter, const int>( counter, &Counter::add ).call( 7 );
    CbDispatcher<CbEmptyType> signals;
    CbFunction<CbEmptyType> plain( [] { counter.increment(); } );
    CbDataFunction<CbEmptyType, Counter*> withData( []( Counter* const& c ) { c->increment(); },
                                                    &counter );
    CbMethod<Counter> noArgument( counter, &Counter::increment );
    signals.add( plain );
    signals.add( withData );
    signals.add( noArgument );
    signals.dispatch();
    EXPECT_EQ( counter._sum, 10 );
}

TEST( CbFunctionTest, ACallWithoutTheArgumentThatAHandlerNeedsIsReported ) {
    CbFunction<std::string> needsArgument( &append );
    CbEmptyType::NoArgCallBase& base = needsArgument;
    EXPECT_THROW( base.callNoArg(), ExProgramAborted );
}

TEST( CbFunctionTest, ASharedHandlerLeavesWithItsLastReference ) {
    CbDispatcher<std::string> texts;
    RCShdPtr<CbHandler<std::string>> first( new CbFunction<std::string>( &append ) );
    RCShdPtr<CbHandler<std::string>> second = first;
    texts.add( *first );
    first = RCShdPtr<CbHandler<std::string>>();
    EXPECT_FALSE( texts.isEmpty() );
    second = first;
    EXPECT_TRUE( texts.isEmpty() );
}

} // namespace

} // namespace Qv
