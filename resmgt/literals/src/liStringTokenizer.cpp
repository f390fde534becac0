#include <resmgt/literals/liStringTokenizer.h>

#include <resmgt/literals/liStringParser.h>

namespace Qv {

LiStringTokenizer::LiStringTokenizer( const std::string& text, const std::string& delimiters ) {
    std::size_t position = 0;
    for( ;; ) {
        std::string token = LiStringParser::readToken( text, position, delimiters );
        if( token.empty() ) {
            return;
        }
        _tokens.push_back( std::move( token ) );
    }
}

} // namespace Qv
