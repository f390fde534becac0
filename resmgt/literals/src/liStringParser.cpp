#include <resmgt/literals/liStringParser.h>

#include <algorithm>

namespace Qv {

bool LiStringParser::splitString( const std::string& text, const std::string& separator,
                                  std::string& left, std::string& right ) {
    const std::size_t place = separator.empty() ? std::string::npos : text.find( separator );
    const bool isFound = place != std::string::npos;
    std::string before = text.substr( 0, place );
    std::string behind = isFound ? text.substr( place + separator.size() ) : std::string();
    left.swap( before );
    right.swap( behind );
    return isFound;
}

std::string LiStringParser::readToken( const std::string& text, std::size_t& position,
                                       const std::string& delimiters ) {
    const std::size_t begin = text.find_first_not_of( delimiters, position );
    if( begin == std::string::npos ) {
        position = text.size();
        return std::string();
    }
    position = std::min( text.find_first_of( delimiters, begin ), text.size() );
    return text.substr( begin, position - begin );
}

} // namespace Qv
