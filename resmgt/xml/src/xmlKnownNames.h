#pragma once

#include <resmgt/xml/src/xmlCopy.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Qv {

/// Short names that a document has used, and which of them are attributes of the start tag that is
/// being read. Documents use few names again and again, and a name that is known needn't be looked
/// at again.
///
/// Places: a name's bytes say which place it has. The first name that comes to a place stays
///         there; the others of that place are never known, as are long names.
class XmlKnownNames {
public:
    enum class Answer { UNKNOWN, NEW, REPEATED };

    void beginTag() noexcept { _taken = {}; }
    /// Takes a name of the tag, if it is known.
    Answer take( std::string_view name ) noexcept {
        const Name own = makeName( name );
        const std::size_t place = findPlace( own );
        const Name& known = _names[place];
        // An empty place has the size 0.
        if( known.size != own.size || known.first != own.first || known.last != own.last ||
            own.size == 0 ) {
            return Answer::UNKNOWN;
        }
        return setTaken( place ) ? Answer::NEW : Answer::REPEATED;
    }
    /// Takes an unknown name of the tag, which is known from now on. False if it can't be.
    bool learn( std::string_view name ) noexcept {
        const Name own = makeName( name );
        const std::size_t place = findPlace( own );
        if( own.size == 0 || _names[place].size != 0 ) {
            return false;
        }
        _names[place] = own;
        return setTaken( place );
    }

private:
    /// With the size, the first and the last bytes are all of a name.
    struct Name {
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        /// 0 for one that is too long.
        std::size_t size = 0;
    };

    static constexpr std::size_t NB_PLACES = 256;

    template <class Number>
    static Name makeName( std::string_view text ) noexcept {
        return { XmlCopy::load<Number>( text.data() ),
                 XmlCopy::load<Number>( text.data() + text.size() - sizeof( Number ) ),
                 text.size() };
    }
    static Name makeName( std::string_view text ) noexcept {
        if( text.size() >= 8 ) {
            return text.size() <= 16 ? makeName<std::uint64_t>( text ) : Name{};
        }
        if( text.size() >= 4 ) {
            return makeName<std::uint32_t>( text );
        }
        return text.size() >= 2   ? makeName<std::uint16_t>( text )
               : text.size() == 1 ? makeName<std::uint8_t>( text )
                                  : Name{};
    }
    /// By a product with a large odd number, whose upper bits all bits of a name reach.
    static std::size_t findPlace( const Name& name ) noexcept {
        const std::uint64_t mixed = name.first ^ name.last << 29 ^ name.last >> 35 ^ name.size;
        return static_cast<std::size_t>( mixed * 0x9E3779B97F4A7C15U >> 56 );
    }
    /// False if it is taken already.
    bool setTaken( std::size_t place ) noexcept {
        std::uint64_t& word = _taken[place / 64];
        const std::uint64_t bit = std::uint64_t( 1 ) << place % 64;
        const bool isNew = ( word & bit ) == 0;
        word |= bit;
        return isNew;
    }

    std::array<Name, NB_PLACES> _names;
    std::array<std::uint64_t, NB_PLACES / 64> _taken{};
};

} // namespace Qv
