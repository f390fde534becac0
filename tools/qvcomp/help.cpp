#include <tools/qvcomp/options.h>

namespace Qv::Comp {

std::string getHelp() {
    return R"(Usage: qvcomp [options] --size WxH -o OUT.exr LAYER.exr...

Composites the layers, bottom first, over each other into a frame of W by H pixels, adds a glow
around the bright parts, and writes a tiled half-float OpenEXR image. All images in between are
held in tiles; those that the memory limit has no room for wait on the disk.

  --size WxH            size of the frame in pixels
  -o FILE               the picture to write
  --frames A-B[xN]      make a picture for each frame from A to B, or each N-th; #### or %04d in the
                        names of layers and outputs stands for its number
  --fit cover|contain|none
                        scale each layer evenly until it covers the frame, or until all of it is in
                        the frame, or place it at the upper left as it is; cover by default
  --pixel-aspect A      width over height of the frame's pixels; 1 by default
  --matte soft|none     what a layer without alpha gets: a soft matte, or none, so that it is
                        opaque; soft by default
  --glow F              the part of the bright light that the glow adds; 0 for no glow, 0.35 by
                        default
  --glow-radius R       standard deviation of the glow in pixels, or with % of the frame's width;
                        2% by default
  --preview FILE        also write a tone-mapped PNG picture
  --dither position|none
                        how its colours become bytes: by a fine pattern, so that slopes show no
                        bands, or the nearest; position by default
  --memory N            memory for tiles, such as 64M or 2G (K, M, G); no limit by default
  --tile N              side of a square of as many pixels as a tile, 16 to 4096; 256 by default
  --threads N           computing threads; as many as there are processors by default
  --strategy lru|random which tile leaves memory first; lru by default
  --policy relaxed|strict
                        whether a tile may have several writers; relaxed by default
  --manager heap|arena  where tiles come from; heap by default
  --scratch DIR         where a folder qvcomp-<user id> keeps those on the disk; $TMPDIR or
                        /var/tmp by default
  --scratch-limit N     most bytes for them, such as 20G; no limit by default
  --unbuffered          move them past the system's file cache, where the volume can
  --lock[=S]            write only with the lock of the picture's path, which keeps out others who
                        lock it; try for S seconds to get it, once by default
  --log LEVEL           log this level and the graver ones, such as warning, informational
                        or tracing; informational by default
  --log-file FILE       add the log to this file; one of its own by default
  --report text|json    form of the report on standard output; text by default
  --job FILE            take layers and options also from this XML document; the options here
                        count more
  --write-job FILE      save layers and options as such a document
  --watch[=S]           make the picture again whenever a layer was saved, until interrupted; look
                        at the layers each S seconds, such as 0.5; 1 by default
  --verify              do the same in plain memory and compare bit for bit
  --help, -h            show this text
  --version             show the version
  --                    all that follows are layers

Of one layer, before its name:

  --operation over|plus|multiply|screen
                        how it joins the layers below; over by default
  --opacity A           multiply it by A, from 0 to 1; 1 by default
  --offset X,Y          move it by X pixels of the frame to the right and Y down

Patterns such as <TempFolder> and <Env:HOME> are expanded in all files and folders but that of the
log and that of --job. What isn't given of --memory, --threads and --scratch is taken from
QVCOMP_MEMORY, QVCOMP_THREADS and QVCOMP_SCRATCH, then from the init files.

Exit status: 0 when all pictures are written, 1 when one can't be, 2 for a wrong command line.
)";
}

} // namespace Qv::Comp
