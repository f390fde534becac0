#pragma once

/// Marks what libQVbase exports.
#if defined( _WIN32 )
#    if defined( QV_BUILDING_BASE )
#        define QV_BASE_API __declspec( dllexport )
#    else
#        define QV_BASE_API __declspec( dllimport )
#    endif
#else
#    define QV_BASE_API __attribute__( ( visibility( "default" ) ) )
#endif
