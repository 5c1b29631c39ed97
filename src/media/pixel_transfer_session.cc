#include "media/pixel_transfer_session.h"

#include <cstring>
#include <exception>

#include "media/pixel_formats.h"
#include "media/pixel_rows.h"

namespace premoov {
namespace {

// Whether `buffer` describes rows that hold its pixels: memory, a size, a supported format and
// rows long enough for its width.
bool isUsable(const CVPixelBuffer& buffer) {
  if (!buffer.baseAddress() || buffer.height() == 0) return false;
  const auto rowBytes = minimumBytesPerRow(buffer.pixelFormat(), buffer.width());
  return rowBytes && *rowBytes <= buffer.bytesPerRow();
}

__extension__ using Wide = unsigned __int128;

// floor(index x from / to), index < to, without overflow whatever the sizes.
size_t fittedIndex(size_t index, size_t to, size_t from) {
  return static_cast<size_t>(static_cast<Wide>(index) * from / to);
}

}  // namespace

VTStatus VTPixelTransferSession::transferImage(const CVPixelBuffer& source,
                                               CVPixelBuffer& destination) {
  if (!isSupportedPixelFormat(source.pixelFormat()) ||
      !isSupportedPixelFormat(destination.pixelFormat())) {
    return kVTPixelTransferNotSupportedErr;
  }
  if (!isUsable(source) || !isUsable(destination)) return kVTParameterErr;

  const size_t sourceRows = source.height();
  const size_t destinationRows = destination.height();
  // The same format at the same width: rows are copied as they are.
  if (source.pixelFormat() == destination.pixelFormat() && source.width() == destination.width()) {
    const size_t rowBytes = *minimumBytesPerRow(source.pixelFormat(), source.width());
    for (size_t d = 0; d < destinationRows; ++d) {
      const size_t s = fittedIndex(d, destinationRows, sourceRows);
      std::memmove(destination.baseAddress() + d * destination.bytesPerRow(),
                   source.baseAddress() + s * source.bytesPerRow(), rowBytes);
    }
    return 0;
  }

  try {
    sourceRow_.resize(source.width());
    destinationRow_.resize(destination.width());
  } catch (const std::exception&) {
    return kVTAllocationFailedErr;
  }
  const bool sameWidth = source.width() == destination.width();
  for (size_t d = 0; d < destinationRows; ++d) {
    const size_t s = fittedIndex(d, destinationRows, sourceRows);
    const uint8_t* sourceRow = source.baseAddress() + s * source.bytesPerRow();
    readPixelRow(source.pixelFormat(), sourceRow, sameWidth ? destinationRow_ : sourceRow_);
    if (!sameWidth) {
      for (size_t x = 0; x < destinationRow_.size(); ++x) {
        destinationRow_[x] = sourceRow_[fittedIndex(x, destinationRow_.size(), sourceRow_.size())];
      }
    }
    writePixelRow(destination.pixelFormat(), destinationRow_,
                  destination.baseAddress() + d * destination.bytesPerRow());
  }
  return 0;
}

}  // namespace premoov
