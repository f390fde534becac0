#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/threads/priority.h>
#include <resmgt/threads/priorityMgr.h>
#include <resmgt/threads/priorityRelation.h>
#include <resmgt/threads/priorityUpdate.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Qv {

/// A client that keeps what it gets.
class RecordingUpdate : public PriorityUpdate {
public:
    explicit RecordingUpdate( std::function<void( int )> whenUpdated = {} )
        : action( std::move( whenUpdated ) ) {}

    void updatePriority( int prio ) override {
        values.push_back( prio );
        if( action ) {
            action( prio );
        }
    }
    std::vector<int> takeValues() { return std::exchange( values, {} ); }

    std::vector<int> values;
    std::function<void( int )> action;
};

/// A graph in short: nodes are "A B3 C", where B is fixed at 3, relations "A<B B<=C C==D". Each
/// relation bears its text as name.
template <class Mgr = PriorityMgr>
class ShortGraph {
public:
    explicit ShortGraph( const char* nodes = "", const char* relations = "", int minPrio = 0,
                         int maxPrio = 6 )
        : mgr( "graph", minPrio, maxPrio ) {
        std::istringstream words( nodes );
        for( std::string word; words >> word; ) {
            addNode( word[0], word.size() > 1 ? std::stoi( word.substr( 1 ) ) : Priority::NOT_SET );
        }
        addAll( relations );
    }
    ShortGraph( const ShortGraph& ) = delete;
    ShortGraph& operator=( const ShortGraph& ) = delete;
    ~ShortGraph() {
        _relations.clear();
        _nodes.clear();
    }

    void addNode( char name, int prio = Priority::NOT_SET, PriorityUpdate* update = nullptr ) {
        _nodes[name] = OPtr<Priority>( new Priority( std::string( 1, name ), mgr, prio, update ) );
    }
    void add( const std::string& text ) {
        const std::string middle = text.substr( 1, text.size() - 2 );
        const auto relation = middle == "<"    ? PriorityRelation::LESS
                              : middle == "<=" ? PriorityRelation::LESS_OR_EQUAL
                                               : PriorityRelation::EQUAL;
        _relations[text] = OPtr<PriorityRelation>(
            new PriorityRelation( text, node( text.front() ), relation, node( text.back() ) ) );
    }
    void addAll( const char* relations ) {
        std::istringstream words( relations );
        for( std::string word; words >> word; ) {
            add( word );
        }
    }
    Priority& node( char name ) { return *_nodes.at( name ); }
    PriorityRelation& relation( const char* text ) { return *_relations.at( text ); }
    /// The caller destroys it.
    OPtr<Priority> release( char name ) { return std::move( _nodes.extract( name ).mapped() ); }
    OPtr<PriorityRelation> release( const char* text ) {
        return std::move( _relations.extract( text ).mapped() );
    }

    /// "A0 B3 C3"
    std::string values() const {
        std::string text;
        for( const auto& [name, prio] : _nodes ) {
            text += ( text.empty() ? "" : " " ) + prio->getName() +
                    std::to_string( prio->getPriority() );
        }
        return text;
    }

    Mgr mgr;

private:
    std::map<char, OPtr<Priority>> _nodes;
    std::map<std::string, OPtr<PriorityRelation>> _relations;
};

} // namespace Qv
