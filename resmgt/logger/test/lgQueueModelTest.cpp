#include <resmgt/logger/lgQueue.h>

#include <tests/support/testSettings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <vector>

/// A queue of 16 bytes and 8 entries beside a plain list, step by step, with every loss accounted
/// for.

namespace Qv {

namespace {

constexpr LgQueue::Sizes SIZES{ 16, 8 };

/// What a queue has to do, said with lists and sums.
class QueueModel {
public:
    struct Item {
        bool isLoss = false;
        std::string text;
        LgTypes::Level level = LgTypes::Tracing;
        std::uint64_t nbLost = 0;
    };

    /// One byte for the last text read, one that separates the ends, and each text's terminator.
    std::size_t getFree() const {
        std::size_t nbUsed = 2 + _text.size();
        for( const Item& item : _items ) {
            nbUsed += item.isLoss ? 0 : item.text.size() + 1;
        }
        return SIZES.nbCharacters - std::min<std::size_t>( nbUsed, SIZES.nbCharacters );
    }
    bool reserve( LgTypes::Level level ) {
        if( _isReserved ) {
            ++_nbNested;
            return false;
        }
        if( getFree() == 0 || _items.size() + 2 >= SIZES.nbEntries ) {
            lose();
            return false;
        }
        _isReserved = true;
        _hasText = false;
        _text.clear();
        _level = level;
        return true;
    }
    void write( const std::string& piece ) {
        const std::size_t nbFree = getFree();
        if( nbFree > 0 ) {
            _hasText = true;
            _text += piece.size() > nbFree ? "#" : piece;
        }
    }
    void add() {
        if( _isReserved && _hasText ) {
            _items.push_back( { false, _text, _level, 0 } );
            _isLastLoss = false;
        }
        _isReserved = false;
        _text.clear();
    }
    const Item* getFirst() const { return _items.empty() ? nullptr : &_items.front(); }
    void remove() { _items.pop_front(); }
    std::uint64_t takeMissed() {
        return std::exchange( _nbMissed, 0 ) + std::exchange( _nbNested, 0 );
    }

private:
    void lose() {
        if( !_isLastLoss ) {
            _items.push_back( { true, "", LgTypes::Informational, std::exchange( _nbMissed, 0 ) } );
            _isLastLoss = true;
        }
        // The line of a run that is over has been written without this one.
        ( _items.empty() ? _nbMissed : _items.back().nbLost ) += 1;
    }

    std::deque<Item> _items;
    std::string _text;
    LgTypes::Level _level = LgTypes::Tracing;
    bool _isReserved = false;
    bool _hasText = false;
    bool _isLastLoss = false;
    std::uint64_t _nbMissed = 0;
    std::uint64_t _nbNested = 0;
};

/// The queue and its model through the same random steps.
class Pair {
public:
    explicit Pair( std::uint64_t seed )
        : _random( seed ) {}

    void step() {
        switch( draw( 8 ) ) {
        case 0:
        case 1:
        case 2:
            reserve();
            break;
        case 3:
        case 4:
            write();
            break;
        case 5:
            end();
            break;
        default:
            read();
            break;
        }
        ASSERT_EQ( _queue.getStream().getNumCharacters(), _model.getFree() );
        ASSERT_EQ( _queue.isEmpty(), _model.getFirst() == nullptr );
    }
    void expectEquation() {
        while( _model.getFirst() != nullptr ) {
            read();
        }
        takeMissed();
        EXPECT_EQ( _nbStatements, _nbLines + _nbCounted );
    }

private:
    std::size_t draw( std::size_t nb ) { return _random() % nb; }

    void reserve() {
        const auto level = static_cast<LgTypes::Level>( draw( LgTypes::NUM_LEVELS ) );
        const bool isReserved = _queue.reserveEntry( level );
        ASSERT_EQ( isReserved, _model.reserve( level ) );
        _isReserved = _isReserved || isReserved;
        _nbStatements += isReserved ? 0 : 1;
    }
    void write() {
        if( _isReserved ) {
            const std::string piece( draw( draw( 4 ) == 0 ? 18 : 5 ),
                                     static_cast<char>( 'a' + _nbPieces++ % 26 ) );
            _queue.getStream() << piece;
            _model.write( piece );
        }
    }
    void end() {
        if( draw( 2 ) == 0 && _isReserved ) {
            _queue.getStream() << endString;
        }
        const bool hasText = ( _queue.getStream().getOutputFlags() & LgStream::TEXT_WRITTEN ) != 0;
        _nbStatements += _isReserved && hasText ? 1 : 0;
        _queue.addEntry();
        _model.add();
        _isReserved = false;
    }
    void read() {
        const QueueModel::Item* const expected = _model.getFirst();
        if( expected == nullptr ) {
            takeMissed();
            return;
        }
        const LgQueue::Entry& entry = _queue.readEntry();
        ASSERT_EQ( entry.isOverflowEntry(), expected->isLoss );
        if( expected->isLoss ) {
            const std::uint64_t count = _queue.takeOverflowCount();
            ASSERT_EQ( count, expected->nbLost );
            _nbCounted += count;
        } else {
            ASSERT_EQ( entry.getLevel(), expected->level );
            ASSERT_EQ( readText(), expected->text );
            ++_nbLines;
        }
        _queue.removeEntry();
        _model.remove();
    }
    /// A reader may leave the text to `removeEntry`, or take it before.
    std::string readText() {
        std::vector<char> text( SIZES.nbCharacters );
        _queue.copyText( text.data() );
        return text.data();
    }
    void takeMissed() {
        const std::uint64_t count = _queue.takeMissedCount();
        ASSERT_EQ( count, _model.takeMissed() );
        _nbCounted += count;
    }

    std::mt19937_64 _random;
    LgQueue _queue{ 7, "model", SIZES };
    QueueModel _model;
    bool _isReserved = false;
    std::size_t _nbPieces = 0;
    std::uint64_t _nbStatements = 0;
    std::uint64_t _nbLines = 0;
    std::uint64_t _nbCounted = 0;
};

} // namespace

TEST( LgQueueModelTest, TheQueueDoesWhatAPlainListDoes ) {
    Pair pair( testSeed() );
    for( long i = 0; i < scaledCount( 3000000 ); ++i ) {
        pair.step();
        ASSERT_FALSE( ::testing::Test::HasFatalFailure() ) << "at step " << i;
    }
    pair.expectEquation();
}

} // namespace Qv
