/* The free nodes of a node pool: threads take nodes and give them back, each at the worst moment of
 * the others. A node has one owner at a time. Tags have 2 bits here, so that 4 removals are a full
 * turn.
 *
 * As they stand: magazines, whose slots are emptied by an exchange each, and single nodes, of which
 * all are removed at once. RESET: a list whose push makes the head's tag zero. KEPT: one whose push
 * keeps it, which fails only where a removal misses a full turn. WRITES, always so with magazines: owners
 * write where the link was, and nothing but a node is given out.
 *
 * passes: -DKEPT -DTURN=16 -DWRITES
 * fails: -DRESET
 * fails: -DKEPT
 */

#if defined RESET || defined KEPT
#define IS_TAGGED
/* Enough for one thread to make a full turn of the tag while another is stalled. */
#define ROUNDS 3
#else
#define ROUNDS 2
#define WRITES
#endif
#define NODES 3
#define THREADS 2
#ifndef TURN
#define TURN 4
#endif

/* Node 0 is none. What an owner writes is no node. */
#define WRITTEN ( NODES + 1 )
byte link[NODES + 1];
byte head, tag;
byte nbOwners[NODES + 1];

inline own( node ) {
    d_step {
        assert( node != WRITTEN );
        nbOwners[node]++;
        assert( nbOwners[node] == 1 );
#ifdef WRITES
        link[node] = WRITTEN
#endif
    }
}
inline disown( node ) { d_step { assert( nbOwners[node] == 1 ); nbOwners[node]-- } }

#ifdef IS_TAGGED
inline take( node ) {
    do
    :: d_step { node = head; seenTag = tag }
        if
        :: node == 0 -> break
        :: else
        fi;
        below = ( node == WRITTEN -> 0 : link[node] );
        if
        :: d_step { head == node && tag == seenTag -> head = below; tag = ( tag + 1 ) % TURN }
            break
        :: else
        fi
    od
}

inline give( node ) {
    do
    :: d_step { below = head; seenTag = tag }
        link[node] = below;
        if
        :: d_step { head == below && tag == seenTag ->
            head = node;
#ifdef RESET
            tag = 0
#endif
            }
            break
        :: else
        fi
    od
}
#else
byte slot[NODES];

/* Of the single nodes all are removed at once: one is kept, the others are pushed again. */
inline pushSingle( node ) {
    do
    :: below = head;
        link[node] = below;
        if
        :: d_step { head == below -> head = node } break
        :: else
        fi
    od
}

inline take( node ) {
    node = 0; i = 0;
    do
    :: i < NODES ->
        if
        :: slot[i] != 0 -> d_step { node = slot[i]; slot[i] = 0 }
        :: else
        fi;
        if
        :: node != 0 -> break
        :: else -> i++
        fi
    :: else -> break
    od;
    if
    :: node == 0 ->
        d_step { node = head; head = 0 }
        if
        :: node != 0 ->
            rest = link[node];
            do
            :: rest != 0 -> next = link[rest]; pushSingle( rest ); rest = next
            :: else -> break
            od
        :: else
        fi
    :: else
    fi
}

/* A node goes to the single ones as a thread ends, else to a slot, which here is a magazine of one. */
inline give( node ) {
    if
    :: pushSingle( node )
    :: i = 0;
        do
        :: i < NODES ->
            if
            :: d_step { slot[i] == 0 -> slot[i] = node } break
            :: else -> i++
            fi
        :: else -> i = 0
        od
    fi
}
#endif

proctype Thread() {
    byte first, second, below, seenTag, round;
#ifndef IS_TAGGED
    byte i, rest, next;
#endif
    do
    :: round < ROUNDS ->
        take( first );
        if
        :: first != 0 ->
            own( first );
            take( second );
            if
            :: second != 0 -> own( second )
            :: else
            fi;
            disown( first );
            give( first );
            /* The second may be kept: what a late removal has seen below is then in use. */
            if
            :: second != 0 -> disown( second ); give( second )
            :: second != 0 -> break
            :: second == 0
            fi
        :: else
        fi;
        round++
    :: else -> break
    od
}

init {
    atomic {
#ifndef IS_TAGGED
        slot[0] = 1; head = 2; link[2] = 3;
#else
        head = 1; link[1] = 2; link[2] = 3;
#endif
        run Thread(); run Thread()
    }
}
