#pragma once

#include "base/byte_writer.h"
#include "movie/sample_runs.h"

namespace premoov {

// Appends the atoms of a sample table that follow its 'stsd', run-length coded from `runs`:
// 'stts', then 'ctts' and 'cslg', 'stss', 'stps', 'sdtp' when needed, then 'stsc', 'stsz' and
// 'stco', or 'co64' when a chunk starts past 4 GiB. Each run with samples is one chunk. The
// atoms are written straight from the runs, so writing costs no memory beyond the bytes written;
// values that the runs' summary reports as problems are clamped to their field.
void writeSampleTableAtoms(ByteWriter& writer, const SampleRuns& runs);

}  // namespace premoov
