#include <base/callbacks/cbDispatcher.h>
#include <base/callbacks/cbFunction.h>
#include <base/callbacks/cbMethod.h>
#include <base/failure/assertions.h>
#include <base/ownership/rcShdPtr.h>
#include <tests/support/testSettings.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

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

TEST_F( CbDispatcherTest, AHandlerMayRemoveOrDestroyItselfAndAllOthers ) {
    const struct {
        const char* _what;
        bool _destroys;
        std::vector<std::size_t> _leaving;
        Log _called;
        Log _calledNext;
    } cases[] = {
        { "itself removed", false, { 1 }, { "0", "1", "2" }, { "0", "2" } },
        { "itself destroyed", true, { 1 }, { "0", "1", "2" }, { "0", "2" } },
        { "all destroyed", true, { 0, 1, 2 }, { "0", "1" }, {} },
    };
    for( const auto& c : cases ) {
        std::vector<std::unique_ptr<Recorder>> handlers( 3 );
        const auto act = [&] {
            for( const std::size_t i : c._leaving ) {
                if( c._destroys ) {
                    handlers[i].reset();
                } else {
                    _dispatcher->remove( *handlers[i] );
                }
            }
        };
        for( std::size_t i = 0; i < 3; ++i ) {
            handlers[i] = std::make_unique<Recorder>( std::to_string( i ),
                                                      i == 1 ? act : std::function<void()>() );
            _dispatcher->add( *handlers[i] );
        }
        EXPECT_EQ( dispatched(), c._called ) << c._what;
        EXPECT_EQ( dispatched(), c._calledNext ) << c._what;
    }
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
    bool isThrowing = true;
    Recorder thrower( "thrower", [&] {
        if( isThrowing ) {
            throw ExInternalError( QV_HERE, "handler" );
        }
    } );
    Recorder after( "after" );
    _dispatcher->add( thrower );
    _dispatcher->add( after );
    Log log;
    EXPECT_THROW( _dispatcher->dispatch( log ), ExInternalError );
    EXPECT_THAT( log, ElementsAre( "thrower" ) );
    isThrowing = false;
    EXPECT_THAT( dispatched(), ElementsAre( "thrower", "after" ) );
}

TEST_F( CbDispatcherTest, RandomTrafficAgreesWithAPlainModel ) {
    std::mt19937_64 random( testSeed() );
    const auto below = [&]( std::size_t end ) { return random() % end; };
    std::vector<std::unique_ptr<Recorder>> handlers( 8 );
    Log model;
    Log expected;
    const auto change = [&] {
        const std::size_t i = below( handlers.size() );
        const std::string name = std::to_string( i );
        const auto forget = [&] {
            std::erase( model, name );
            std::erase( expected, name );
        };
        switch( below( 3 ) ) {
        case 0:
            handlers[i] = std::make_unique<Recorder>( name );
            forget();
            break;
        case 1:
            if( handlers[i] != nullptr ) {
                _dispatcher->remove( *handlers[i] );
            }
            forget();
            break;
        default:
            if( handlers[i] != nullptr ) {
                const bool isIn = std::find( model.begin(), model.end(), name ) != model.end();
                EXPECT_EQ( _dispatcher->contains( *handlers[i] ), isIn );
                _dispatcher->add( *handlers[i] );
                if( !isIn ) {
                    model.push_back( name );
                }
            }
        }
    };
    Recorder changer( "changer", [&] {
        for( std::size_t nb = below( 6 ); nb > 0; --nb ) {
            change();
        }
    } );
    _dispatcher->add( changer );
    for( long round = scaledCount( 20000 ); round > 0; --round ) {
        change();
        expected = model;
        Log log = dispatched();
        ASSERT_EQ( log.front(), "changer" );
        log.erase( log.begin() );
        ASSERT_EQ( log, expected );
    }
}

void append( std::string& text ) {
    text += "f";
}

class Counter {
public:
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
