#pragma once

#include <tools/qvcomp/options.h>
#include <tools/qvcomp/outputLock.h>
#include <tools/qvcomp/pendingFile.h>
#include <tools/qvcomp/pictureHead.h>
#include <tools/qvcomp/render.h>

namespace Qv::Comp {

/// The picture and, where they are wanted, the preview and the job.
///
/// Errors: Failure; UsageFailure when one would take the place of a layer, a job or another one.
class Outputs {
public:
    Outputs( const Options& options, const Scene& scene );

    void write( TilePlane& picture, const PictureHead& head, Dithering dithering,
                PassRunner& runner );
    /// Gives the files their names, which comes last, when nothing else can fail.
    void commit( const std::optional<OutputLock>& lock );

private:
    void checkPlaces() const;
    void checkJobsPlace() const;
    PendingFile* getPreview() { return _preview ? &*_preview : nullptr; }

    PendingFile _picture;
    std::optional<PendingFile> _preview;
    std::optional<PendingFile> _job;
};

} // namespace Qv::Comp
