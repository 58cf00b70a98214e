// Watershed by flooding the 16-bit heights from markers through a bucket queue (Meyer).
#include "Watershed.h"

#include <zApi/zImage.h>
#include <zApi/zParallel.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "../Common/ElementTypes.h"
#include "../Common/ErrorPrivate.h"

namespace Ro {
namespace Vision {
namespace {

const Site kSite{"ImageProcessing/ImageUtils", "Ro::Vision::ImageWatershedSegmentation"};

constexpr int32_t kLine = -1;
constexpr int32_t kQueued = -2;
constexpr int kLevels = 65536;
constexpr uint16_t kNoLevel = 0xFFFF;  // of null cells; valid heights use 0..65534

// The flooding order of a height: low first; upside down for peaks. Nulls get no level.
struct Grid {
  int width = 0, height = 0;
  std::vector<uint16_t> level;  // per cell; valid[i] tells nulls apart
  std::vector<uint8_t> valid;
};

Grid Levels(void* heights, bool peaks) {
  Grid g;
  g.width = int(zImage_Width(heights));
  g.height = int(zImage_Height(heights));
  const size_t n = size_t(g.width) * size_t(g.height);
  g.level.resize(n);
  g.valid.resize(n);
  for (int y = 0; y < g.height; ++y) {
    const z16s* row = static_cast<const z16s*>(zImage_Row(heights, zSize(y)));
    for (int x = 0; x < g.width; ++x) {
      const size_t i = size_t(y) * size_t(g.width) + size_t(x);
      g.valid[i] = row[x] != -32768;
      // Valid heights are -32767..32767, so both orders fit 0..65534.
      g.level[i] = g.valid[i] ? uint16_t(peaks ? 32767 - row[x] : row[x] + 32767) : kNoLevel;
    }
  }
  return g;
}

// Null-aware box mean of the levels (odd size), rounded half away from zero; nulls stay nulls.
std::vector<uint16_t> Smooth(const Grid& g, int size, void* pool) {
  if (size == 1) return g.level;
  std::vector<uint16_t> out(g.level.size(), kNoLevel);
  struct Context {
    const Grid* g;
    int half;
    std::vector<uint16_t>* out;
  } context{&g, size / 2, &out};
  auto worker = [](const zParallelArgs* args, void* raw) -> zStatus {
    auto* c = static_cast<Context*>(raw);
    const Grid& g = *c->g;
    const int begin = int(zParallelArgs_Begin(args, 0, zSize(g.height)));
    const int end = int(zParallelArgs_End(args, 0, zSize(g.height)));
    std::vector<int64_t> colSum(size_t(g.width)), colCount(size_t(g.width));
    for (int y = begin; y < end; ++y) {
      std::fill(colSum.begin(), colSum.end(), 0);
      std::fill(colCount.begin(), colCount.end(), 0);
      for (int yy = std::max(0, y - c->half); yy <= std::min(g.height - 1, y + c->half); ++yy) {
        const size_t base = size_t(yy) * size_t(g.width);
        for (int x = 0; x < g.width; ++x) {
          colSum[size_t(x)] += g.valid[base + size_t(x)] ? g.level[base + size_t(x)] : 0;
          colCount[size_t(x)] += g.valid[base + size_t(x)];
        }
      }
      const size_t base = size_t(y) * size_t(g.width);
      for (int x = 0; x < g.width; ++x) {
        if (!g.valid[base + size_t(x)]) continue;
        int64_t sum = 0, count = 0;
        for (int xx = std::max(0, x - c->half); xx <= std::min(g.width - 1, x + c->half); ++xx) {
          sum += colSum[size_t(xx)];
          count += colCount[size_t(xx)];
        }
        // Levels are not negative: half away from zero is half up.
        (*c->out)[base + size_t(x)] = uint16_t((2 * sum + count) / (2 * count));
      }
    }
    return 1;
  };
  Check(kSite, __LINE__, zParallel_Execute(worker, &context, pool));
  return out;
}

// Labels the regional minima of `level`: 8-connected plateaus with no lower valid neighbour.
void RegionalMinima(const Grid& g, const std::vector<uint16_t>& level, int32_t* labels) {
  const size_t n = level.size();
  std::vector<uint8_t> seen(n, 0);
  std::vector<size_t> plateau;
  int32_t next = 1;
  for (size_t start = 0; start < n; ++start) {
    if (seen[start] || !g.valid[start]) continue;
    plateau.assign(1, start);
    seen[start] = 1;
    bool minimum = true;
    for (size_t k = 0; k < plateau.size(); ++k) {
      const int x = int(plateau[k] % size_t(g.width)), y = int(plateau[k] / size_t(g.width));
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
          const int xx = x + dx, yy = y + dy;
          if ((!dx && !dy) || xx < 0 || yy < 0 || xx >= g.width || yy >= g.height) continue;
          const size_t j = size_t(yy) * size_t(g.width) + size_t(xx);
          if (!g.valid[j]) continue;
          if (level[j] < level[start]) minimum = false;
          if (level[j] == level[start] && !seen[j]) {
            seen[j] = 1;
            plateau.push_back(j);
          }
        }
      }
    }
    if (!minimum) continue;
    for (size_t i : plateau) labels[i] = next;
    ++next;
  }
}

// A FIFO per level, as linked lists through one `next` array.
class BucketQueue {
 public:
  explicit BucketQueue(size_t cells) : next_(cells, -1), head_(kLevels, -1), tail_(kLevels, -1) {}
  void Push(int level, int32_t cell) {
    if (tail_[size_t(level)] < 0) {
      head_[size_t(level)] = cell;
    } else {
      next_[size_t(tail_[size_t(level)])] = cell;
    }
    tail_[size_t(level)] = cell;
    lowest_ = std::min(lowest_, level);
  }
  // The first cell of the lowest non-empty level, or -1; sets *level.
  int32_t Pop(int* level) {
    while (lowest_ < kLevels && head_[size_t(lowest_)] < 0) ++lowest_;
    if (lowest_ == kLevels) return -1;
    const int32_t cell = head_[size_t(lowest_)];
    head_[size_t(lowest_)] = next_[size_t(cell)];
    if (head_[size_t(lowest_)] < 0) tail_[size_t(lowest_)] = -1;
    *level = lowest_;
    return cell;
  }

 private:
  std::vector<int32_t> next_, head_, tail_;
  int lowest_ = kLevels;
};

// Where two basins touch (4-neighbours with different labels), the higher cell of the pair (the
// later in row order on equal levels) becomes a line cell. Lines drawn during the flooding would
// stop the flood and let a line drift off the ridge (towards the diagonal of the 4-neighbour
// grid); marking the flooded partition keeps each line on the ridge, one cell thick, and still
// separates every pair of basins.
void MarkLines(const Grid& g, int32_t* labels) {
  const int w = g.width, h = g.height;
  std::vector<uint8_t> line(g.level.size(), 0);
  auto pair = [&](size_t a, size_t b) {
    if (labels[a] <= 0 || labels[b] <= 0 || labels[a] == labels[b]) return;
    line[g.level[a] > g.level[b] ? a : g.level[b] > g.level[a] ? b : std::max(a, b)] = 1;
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t i = size_t(y) * size_t(w) + size_t(x);
      if (x + 1 < w) pair(i, i + 1);
      if (y + 1 < h) pair(i, i + size_t(w));
    }
  }
  for (size_t i = 0; i < line.size(); ++i)
    if (line[i]) labels[i] = kLine;
}

void Flood(const Grid& g, bool lines, int32_t* labels) {
  const int w = g.width, h = g.height;
  BucketQueue queue(g.level.size());
  // The 4-neighbours of i, in the order up, left, right, down; -1 outside.
  auto neighbours = [&](int32_t i, int32_t out[4]) {
    const int x = int(i % w), y = int(i / w);
    out[0] = y > 0 ? i - w : -1;
    out[1] = x > 0 ? i - 1 : -1;
    out[2] = x + 1 < w ? i + 1 : -1;
    out[3] = y + 1 < h ? i + w : -1;
  };
  auto enqueueAround = [&](int32_t i, int current) {
    int32_t nb[4];
    neighbours(i, nb);
    for (int32_t j : nb) {
      if (j < 0 || labels[j] != 0 || !g.valid[size_t(j)]) continue;
      labels[j] = kQueued;
      queue.Push(std::max<int>(g.level[size_t(j)], current), j);
    }
  };
  const int32_t cells = int32_t(g.level.size());
  for (int32_t i = 0; i < cells; ++i)
    if (labels[i] > 0) enqueueAround(i, 0);
  int current = 0;
  for (int32_t i = queue.Pop(&current); i >= 0; i = queue.Pop(&current)) {
    int32_t nb[4];
    neighbours(i, nb);
    // The basin of the lowest labelled neighbour (the first on ties): the way down the slope.
    int32_t label = 0;
    int lowest = kLevels;
    for (int32_t j : nb) {
      if (j < 0 || labels[j] <= 0 || g.level[size_t(j)] >= lowest) continue;
      label = labels[j];
      lowest = g.level[size_t(j)];
    }
    labels[i] = label;
    enqueueAround(i, current);
  }
  if (lines) MarkLines(g, labels);
}

}  // namespace

Ty::Object<void*> ImageWatershedSegmentation(void* heights, void* markers,
                                             const WatershedOptions& options, void* alloc) {
  if (!heights) Throw(kSite, __LINE__, kInvalidArgument, "heights is null");
  if (zImage_PixelType(heights) != zTypeOf(z16s))
    Throw(kSite, __LINE__, kNotSupported, "heights must be z16s");
  if (options.smoothSize < 1 || options.smoothSize % 2 == 0)
    Throw(kSite, __LINE__, kInvalidArgument, "smoothSize must be odd and positive");
  const zSize width = zImage_Width(heights), height = zImage_Height(heights);
  if (markers && (zImage_PixelType(markers) != zTypeOf(z32s) || zImage_Width(markers) != width ||
                  zImage_Height(markers) != height))
    Throw(kSite, __LINE__, kIncompatible, "markers must be z32s of the image's size");
  if (width * height > zSize(std::numeric_limits<int32_t>::max()))
    Throw(kSite, __LINE__, kInvalidArgument, "image too large");

  Ty::Object<void*> result;
  Check(
      kSite, __LINE__,
      zImage_Construct(result.Address(), zTypeOf(z32s), width, height, static_cast<zAlloc>(alloc)));
  if (width == 0 || height == 0) return result;
  int32_t* labels = static_cast<int32_t*>(zImage_Data(result));
  const Grid grid = Levels(heights, options.peaks);
  if (markers) {
    for (zSize y = 0; y < height; ++y) {
      const int32_t* row = static_cast<const int32_t*>(zImage_Row(markers, y));
      for (zSize x = 0; x < width; ++x) {
        const size_t i = y * width + x;
        labels[i] = grid.valid[i] && row[x] > 0 ? row[x] : 0;
      }
    }
  } else {
    RegionalMinima(grid, Smooth(grid, options.smoothSize, options.pool), labels);
  }
  Flood(grid, options.lines, labels);
  return result;
}

}  // namespace Vision
}  // namespace Ro
