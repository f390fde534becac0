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

/// QV_TEMPLATE_API marks a class template whose instances cross libraries, such as exceptions:
/// where the linker knows names across libraries, all instances of one kind become one. Where
/// importing is marked it is empty, since each library makes its own. QV_INSTANCE_API marks the
/// explicit instantiation by which a library gives an instance to others.
#if defined( _WIN32 )
#    define QV_TEMPLATE_API
#    define QV_INSTANCE_API __declspec( dllexport )
#else
#    define QV_TEMPLATE_API __attribute__( ( visibility( "default" ) ) )
/// Marks an instance of a template that a library makes for all.
#    define QV_INSTANCE_API
#endif
