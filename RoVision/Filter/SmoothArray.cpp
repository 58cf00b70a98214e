#include "SmoothArray.h"

#include <zApi/zArray2.h>

#include <cmath>
#include <vector>

#include "FilterPrivate.h"
#include "PadArray.h"

namespace Ro {
namespace Vision {

namespace {

const Site kSite{filter::kModule, "Ro::Vision::SmoothFullArray2"};

unsigned long long MakeOdd(unsigned long long size) {
  return size % 2 == 0 ? size + 1 : size;
}

// The window length of one direction.
unsigned long long WindowOf(SmoothKind kind, unsigned long long size, double sigma) {
  if (kind == SmoothKind::Box) {
    if (size == 0) Throw(kSite, __LINE__, kInvalidArgument, "the box size must be at least 1");
    return MakeOdd(size);
  }
  if (!(sigma > 0)) Throw(kSite, __LINE__, kInvalidArgument, "sigma must be greater than 0");
  if (size > 0) return MakeOdd(size);
  const double derived = filter::RoundHalfAway(8 * sigma + 1);
  if (!(derived < 1e9)) Throw(kSite, __LINE__, kInvalidArgument, "sigma is too large");
  return MakeOdd(static_cast<unsigned long long>(derived));
}

// Normalised weights of one direction. The Gaussian ones are formed as OpenCV forms them
// (exp(-0.5 d^2 / sigma^2), then divided by their sum), so that the results agree closely.
std::vector<double> WeightsOf(SmoothKind kind, unsigned long long window, double sigma) {
  std::vector<double> weights(window, 1.0 / static_cast<double>(window));
  if (kind == SmoothKind::Box) return weights;
  const double scale = -0.5 / (sigma * sigma);
  double sum = 0;
  for (unsigned long long i = 0; i < window; ++i) {
    const double d = static_cast<double>(i) - static_cast<double>(window - 1) * 0.5;
    weights[i] = std::exp(scale * d * d);
    sum += weights[i];
  }
  for (double& w : weights) w /= sum;
  return weights;
}

template <class T>
void Smooth(void* padded, void* rowPass, void* accumulator, void* output,
            const std::vector<double>& wx, const std::vector<double>& wy) {
  const std::size_t rows = zArray2_Rows(output);
  const std::size_t columns = zArray2_Columns(output);
  const std::size_t paddedRows = zArray2_Rows(padded);
  for (std::size_t r = 0; r < paddedRows; ++r) {
    const T* in = static_cast<const T*>(zArray2_Row(padded, r));
    double* out = static_cast<double*>(zArray2_Row(rowPass, r));
    for (std::size_t c = 0; c < columns; ++c) {
      double sum = 0;
      for (std::size_t k = 0; k < wx.size(); ++k) sum += wx[k] * static_cast<double>(in[c + k]);
      out[c] = sum;
    }
  }
  double* acc = static_cast<double*>(zArray2_Data(accumulator));
  for (std::size_t r = 0; r < rows; ++r) {
    std::fill(acc, acc + columns, 0.0);
    for (std::size_t k = 0; k < wy.size(); ++k) {
      const double* in = static_cast<const double*>(zArray2_Row(rowPass, r + k));
      const double w = wy[k];
      for (std::size_t c = 0; c < columns; ++c) acc[c] += w * in[c];
    }
    T* out = static_cast<T*>(zArray2_Row(output, r));
    for (std::size_t c = 0; c < columns; ++c) out[c] = static_cast<T>(acc[c]);
  }
}

}  // namespace

void SmoothFullArray2(const Ty::Object<void*>& input, SmoothKind kind,
                      Point2d<unsigned long long> size, Point2d<double> sigma,
                      Ty::Object<void*>& output, void* allocator) {
  if (!input) Throw(kSite, __LINE__, kInvalidArgument, "the input array is null");
  if (kind != SmoothKind::Box && kind != SmoothKind::Gaussian) {
    Throw(kSite, __LINE__, kInvalidArgument, "unknown smoothing kind");
  }
  const zType type = zArray2_ItemType(input);
  if (type != TypeOf<z64f>() && type != TypeOf<z32f>()) {
    Throw(kSite, __LINE__, kNotSupported, "the input must hold z64f or z32f items");
  }
  const unsigned long long windowX = WindowOf(kind, size.x, sigma.x);
  const unsigned long long windowY = WindowOf(kind, size.y, sigma.y);
  const std::vector<double> wx = WeightsOf(kind, windowX, sigma.x);
  const std::vector<double> wy = WeightsOf(kind, windowY, sigma.y);
  const std::size_t rows = zArray2_Rows(input);
  const std::size_t columns = zArray2_Columns(input);

  Ty::Object<void*> result;
  Check(kSite, __LINE__, zArray2_Construct(result.Address(), type, rows, columns, allocator));
  if (rows > 0 && columns > 0) {
    Ty::Object<void*> padded;
    PadArray2(input, windowY / 2, windowY / 2, windowX / 2, windowX / 2, PadMode::Replicate, 0,
              padded, allocator);
    Ty::Object<void*> rowPass;
    Check(kSite, __LINE__,
          zArray2_Construct(rowPass.Address(), TypeOf<z64f>(), zArray2_Rows(padded), columns,
                            allocator));
    Ty::Object<void*> accumulator;
    Check(kSite, __LINE__,
          zArray2_Construct(accumulator.Address(), TypeOf<z64f>(), 1, columns, allocator));
    if (type == TypeOf<z64f>()) {
      Smooth<double>(padded, rowPass, accumulator, result, wx, wy);
    } else {
      Smooth<float>(padded, rowPass, accumulator, result, wx, wy);
    }
  }
  output = result;
}

}  // namespace Vision
}  // namespace Ro
