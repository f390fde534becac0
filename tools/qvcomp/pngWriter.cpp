#include <tools/qvcomp/pngWriter.h>

#include <tools/qvcomp/failure.h>

#include <csetjmp>
#include <exception>
#include <functional>
#include <string>

#include <png.h>

namespace Qv::Comp {

/// libpng leaves a failed call with a long jump, which must not cross a C++ object: a failure is
/// kept here and raised after the jump.
struct PngWriter::Imp {
    explicit Imp( PendingFile& target )
        : file( target ) {}
    ~Imp() { png_destroy_write_struct( &png, &info ); }

    static void write( png_structp png, png_bytep bytes, png_size_t size ) {
        Imp& self = *static_cast<Imp*>( png_get_io_ptr( png ) );
        if( !self.tryWrite( bytes, size ) ) {
            png_longjmp( png, 1 );
        }
    }

    bool tryWrite( const unsigned char* bytes, std::size_t size ) noexcept {
        try {
            file.write( position, bytes, size );
            position += size;
            return true;
        } catch( ... ) {
            failure = std::current_exception();
            return false;
        }
    }

    static void flush( png_structp ) {}

    [[noreturn]] static void fail( png_structp png, png_const_charp text ) {
        static_cast<Imp*>( png_get_error_ptr( png ) )->text = text;
        png_longjmp( png, 1 );
    }

    static void warn( png_structp, png_const_charp ) {}

    /// Calls `function` and raises what went wrong in it. Between the calls of libpng it makes no
    /// object that has a destructor.
    template <class Function>
    void run( const Function& function ) {
        if( !hasFailed ) {
            if( setjmp( png_jmpbuf( png ) ) == 0 ) {
                function();
                return;
            }
            hasFailed = true;
        }
        if( failure ) {
            std::rethrow_exception( failure );
        }
        throw Failure( Tag::CANT_WRITE, file.getPath().toString(), text );
    }

    PendingFile& file;
    std::uint64_t position = 0;
    std::exception_ptr failure;
    const char* text = "libpng failed";
    // What another thread still has is no work for libpng then.
    bool hasFailed = false;
    png_structp png = nullptr;
    png_infop info = nullptr;
};

PngWriter::PngWriter( PendingFile& file, int width, int height )
    : _imp( std::make_unique<Imp>( file ) ) {
    Imp& imp = *_imp;
    imp.png = png_create_write_struct( PNG_LIBPNG_VER_STRING, &imp, Imp::fail, Imp::warn );
    imp.info = imp.png == nullptr ? nullptr : png_create_info_struct( imp.png );
    if( imp.info == nullptr ) {
        throw std::bad_alloc();
    }
    imp.run( [&imp, width, height] {
        png_set_write_fn( imp.png, &imp, Imp::write, Imp::flush );
        png_set_IHDR( imp.png, imp.info, static_cast<png_uint_32>( width ),
                      static_cast<png_uint_32>( height ), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                      PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT );
        // Beside the defaults an eighth of the time for a file that is an eighth larger, as
        // measured with dithered photographs.
        png_set_filter( imp.png, PNG_FILTER_TYPE_BASE, PNG_FILTER_AVG );
        png_set_compression_level( imp.png, 2 );
        png_set_sRGB( imp.png, imp.info, PNG_sRGB_INTENT_PERCEPTUAL );
        png_write_info( imp.png, imp.info );
    } );
}

PngWriter::~PngWriter() = default;

void PngWriter::writeLines( const unsigned char* bytes, int lines ) {
    Imp& imp = *_imp;
    imp.run( [&imp, bytes, lines] {
        const std::size_t rowBytes = png_get_rowbytes( imp.png, imp.info );
        for( int line = 0; line < lines; ++line ) {
            png_write_row( imp.png, bytes + static_cast<std::size_t>( line ) * rowBytes );
        }
    } );
}

void PngWriter::finish() {
    Imp& imp = *_imp;
    imp.run( [&imp] { png_write_end( imp.png, nullptr ); } );
}

} // namespace Qv::Comp
