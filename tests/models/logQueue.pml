/* A log queue's ring: its owner logs and ends, the reader prints, counts what was lost, and destroys
 * the queue. What lgQueueMemory.h says of entries and losses, with every step of one side between
 * any two of the other. Steps are seen in their order here; the stores' orders are argued there.
 *
 * Each statement is printed or counted, once; lines keep their order; nothing is touched after its
 * end. */

#ifndef ENTRIES
#define ENTRIES 4
#endif
#ifndef STATEMENTS
#define STATEMENTS 7
#endif
#define AT( index ) ( ( index ) % ENTRIES )

byte end, beg;
bool isOverflow[ENTRIES];
byte text[ENTRIES], count[ENTRIES], place[ENTRIES];
byte nbLost, nbTold;
bool isAlive = true, isDestroyed = false;

byte nbLines, nbCounted, last;

proctype Owner() {
    byte number = 1, seen;
    do
    :: number <= STATEMENTS ->
        seen = beg;
        if
        :: end - seen + 2 < ENTRIES ->
            isOverflow[AT( end )] = false;
            text[AT( end )] = number;
            end++
        :: else ->
            nbLost++;
            if
            :: isOverflow[AT( end + ENTRIES - 1 )] -> count[AT( end + ENTRIES - 1 )]++
            :: else ->
                assert( end - seen + 1 < ENTRIES );
                isOverflow[AT( end )] = true;
                count[AT( end )] = 1;
                place[AT( end )] = nbLost - 1;
                end++
            fi
        fi;
        assert( !isDestroyed );
        number++
    :: else -> break
    od;
    isAlive = false
}

proctype Reader() {
    bool wasAlive;
    byte total;
    do
    :: wasAlive = isAlive;
        if
        :: beg != end ->
            if
            :: isOverflow[AT( beg )] ->
                total = count[AT( beg )];
                total = total + place[AT( beg )]
            :: else ->
                assert( text[AT( beg )] > last );
                last = text[AT( beg )];
                nbLines++;
                total = 0
            fi;
            if
            :: total > nbTold -> nbCounted = nbCounted + total - nbTold; nbTold = total
            :: else
            fi;
            beg++
        :: else ->
            total = nbLost;
            if
            :: total > nbTold -> nbCounted = nbCounted + total - nbTold; nbTold = total
            :: else
            fi;
            if
            :: !wasAlive -> break
            :: else
            fi
        fi
    od;
    isDestroyed = true;
    assert( beg == end && nbLines + nbCounted == STATEMENTS )
}

init { atomic { run Owner(); run Reader() } }
