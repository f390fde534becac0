#pragma once

#include <base/values/rational.h>
#include <resmgt/resmgtApi.h>

#include <string>
#include <string_view>

namespace Qv {

/// Conversions, case, white space and names. Operations that end in W are for wide text.
///
/// Narrow text is UTF-8. Its case and white space are those of ASCII alone, whatever the locale is:
/// other characters are left as they are, and none is ever cut. For wide text case and white space
/// are what the process's locale says.
///
/// Threads: all operations are for any thread.
class QV_RESMGT_API LiStringUtil {
public:
    LiStringUtil() = delete;

    /// Builds the set of characters that names of components can't have; the package's start.
    static void initialize();

    /// Numbers to text, in decimal and in every locale alike, of every integer type: the smaller
    /// ones, characters and bool too, as the `int` that they are. A floating-point number becomes
    /// the shortest text that reads back as the same value, "0.1" or "1e+20"; what is no number
    /// becomes "inf" or "nan", with a sign, which isn't read back.
    static std::string convertNb( int number );
    static std::string convertNb( unsigned int number );
    static std::string convertNb( long number );
    static std::string convertNb( unsigned long number );
    static std::string convertNb( long long number );
    static std::string convertNb( unsigned long long number );
    static std::string convertNb( float number );
    static std::string convertNb( double number );
    /// The number as wide text, in decimal digits.
    static std::wstring convertNbW( int number );
    static std::wstring convertNbW( unsigned int number );
    static std::wstring convertNbW( long number );
    static std::wstring convertNbW( unsigned long number );
    static std::wstring convertNbW( long long number );
    static std::wstring convertNbW( unsigned long long number );
    static std::wstring convertNbW( float number );
    static std::wstring convertNbW( double number );

    /// Text to numbers, in every locale alike. The whole text must be one decimal number, which may
    /// have a sign, and white space of ASCII around it. Everything else raises
    /// LiEx::ExConversionError: an empty text, "inf" and "nan", a number that the type can't hold
    /// (also one so small that nothing would be left of it), a minus sign before an unsigned
    /// number.
    static int convertToInt( const std::string& text );
    /// The number that the text is.
    static unsigned int convertToUInt( const std::string& text );
    /// The number that the text is.
    static long long convertToLong( const std::string& text );
    /// The number that the text is.
    static unsigned long long convertToULong( const std::string& text );
    /// The number that the text is.
    static float convertToFloat( const std::string& text );
    /// The number that the text is.
    static double convertToDouble( const std::string& text );
    /// The number that the text is.
    static int convertToIntW( const std::wstring& text );
    /// The number that the text is.
    static unsigned int convertToUIntW( const std::wstring& text );
    /// The number that the text is.
    static long long convertToLongW( const std::wstring& text );
    /// The number that the text is.
    static unsigned long long convertToULongW( const std::wstring& text );
    /// The number that the text is.
    static float convertToFloatW( const std::wstring& text );
    /// The number that the text is.
    static double convertToDoubleW( const std::wstring& text );
    /// "30000/1001", kept as it is, or a decimal number such as "29.97", as the nearest fraction,
    /// which may be 0, in lowest terms. White space and errors as above.
    static Rational convertToRational( const std::string& text );

    /// The text in small letters.
    static std::string toLowerCase( std::string text );
    /// The text in capital letters.
    static std::string toUpperCase( std::string text );
    /// The first letter and each after white space becomes upper case, all others lower case.
    static std::string toMixedCase( std::string text );
    /// The text in small letters.
    static std::wstring toLowerCaseW( std::wstring text );
    /// The text in capital letters.
    static std::wstring toUpperCaseW( std::wstring text );
    /// As toMixedCase, for wide text.
    static std::wstring toMixedCaseW( std::wstring text );
    /// Compares the texts in lower case: below, at or above 0 as `a` stands before, with or behind
    /// `b`.
    static int compareNoCase( const std::string& a, const std::string& b );
    /// As compareNoCase, for wide text.
    static int compareNoCaseW( const std::wstring& a, const std::wstring& b );

    /// The text without the blanks at its beginning.
    static std::string trimLeadingSpaces( const std::string& text );
    /// The text without the blanks at its end.
    static std::string trimTrailingSpaces( const std::string& text );
    /// The text without the blanks at both ends.
    static std::string trimLeadingAndTrailingSpaces( const std::string& text );
    /// The text without the blanks at its beginning.
    static std::wstring trimLeadingSpacesW( const std::wstring& text );
    /// The text without the blanks at its end.
    static std::wstring trimTrailingSpacesW( const std::wstring& text );
    /// The text without the blanks at both ends.
    static std::wstring trimLeadingAndTrailingSpacesW( const std::wstring& text );

    /// Puts `to` for every occurrence of `from`, in place, from the left; what it put isn't
    /// searched again. An empty `from` occurs nowhere.
    static void substitute( std::string& text, const std::string& from, const std::string& to );
    /// As substitute, for wide text.
    static void substituteW( std::wstring& text, const std::wstring& from, const std::wstring& to );
    /// Puts values into `text` in one pass from the left: at each place `match( rest, value )`
    /// returns how many characters of the rest, which isn't empty, are replaced by `value`, 0 for
    /// none.
    template <class Match>
    static void substitute( std::string& text, Match&& match ) {
        std::string result;
        std::string value;
        std::size_t kept = 0;
        for( std::size_t i = 0; i < text.size(); ) {
            const std::size_t length = match( std::string_view( text ).substr( i ), value );
            if( length == 0 ) {
                ++i;
            } else {
                result.append( text, kept, i - kept ).append( value );
                i += length;
                kept = i;
            }
        }
        text.replace( 0, kept, result );
    }
    /// Each back-slash becomes two.
    static std::string escapeBackslashes( const std::string& text );

    /// The replacement of a forbidden character.
    static char getReplacementChar() { return '_'; }
    static wchar_t getReplacementCharW() { return L'_'; }
    /// Replaces each character that `forbidden` holds.
    static std::string sanitise( const std::string& text, const std::string& forbidden );
    /// As sanitise, for wide text.
    static std::wstring sanitiseW( const std::wstring& text, const std::wstring& forbidden );
    /// Makes a name that can be a file's, or part of one: without white space of ASCII at the ends,
    /// with replacements for control characters and those of OsFileUtils::getFileInvalidChars.
    static std::string sanitizeComponentName( const std::string& name );
    /// Whether `sanitizeComponentName` has nothing to do. The empty name is one.
    static bool checkComponentNameValidity( const std::string& name );
    /// The first name that `isFree( const std::string& )` accepts of `base`, "base (1)",
    /// "base (2)", ...; the numbers start at `firstNumber`.
    template <class IsFree>
    static std::string createUniqueName( const std::string& base, IsFree&& isFree,
                                         unsigned long long firstNumber = 1 ) {
        std::string name = base;
        for( unsigned long long number = firstNumber; !isFree( name ); ++number ) {
            name = base + " (" + convertNb( number ) + ")";
        }
        return name;
    }

private:
    static std::wstring sanitizeImp( const std::wstring& text, const std::wstring& forbidden,
                                     wchar_t replacement, bool isTrimmed );
};

} // namespace Qv
