#pragma once
// AUVXVisSampler: a quick look at the visibilities of any UVX file, whatever its size.
//
// Sample reads one group out of every block of k consecutive groups, k chosen so that at most
// `max_points` groups are read (k = ceil(groups / max_points)); the group taken inside a block
// moves from block to block (a fixed pseudo-random offset, `SampledGroup`), so that the sample
// does not lock onto one baseline when k is a multiple of the number of baselines per time step.
// Each read is a positioned read of the group and of the one visibility entry chosen (IF,
// channel, Stokes): a 5 GB file is never read in full, only its header and tables at Open and
// about max_points small pieces. The pieces of the next reads are announced to the kernel ahead
// (AUVXFile::WillNeed), so that a file that is not in the page cache is read with many disk
// requests in flight rather than one at a time.
//
// The same sample can come in two steps, so that a picture of a file on a cold disk comes early:
// SampleFirstLook reads every m-th block only (at most `first_points` of them, spread over the
// whole file); SampleRest reads the other blocks in file order, handing over the new points in
// batches as they arrive (a viewer draws them meanwhile), and ends with the points Sample gives.
//
// Refine reads the groups inside a window (time, UV distance, one baseline) for a zoom: a time
// window on a file in time order is found by bisection and read with its own stride; a UV-distance
// or baseline window looks at every group of the (time) range and keeps at most `max_points` of
// those inside, evenly thinned.
//
// u and v are turned into megawavelengths with the sky frequency of the chosen channel in the
// group's frequency set-up. A point whose time, u or v is not finite (a damaged record) is left
// out and counted. A read failure ends the pass with 0, keeping the points read so far.

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "core/runtime.h"
#include "uvx/fq_table.h"
#include "uvx/uvx_file.h"
#include "uvx/uvx_lists.h"

// Which visibility entry of each record to look at.
struct AUVXVisChoice {
  int if_index = 0;
  int channel = 0;
  int stokes = 0;
};

struct AUVXVisPoint {
  std::int64_t group = 0;   // index in the file
  double time_s = 0;        // seconds from 0h of the observation date (start time + group time)
  float u_mlambda = 0;      // u, v in megawavelengths at the chosen channel's frequency
  float v_mlambda = 0;
  float amp = 0;            // |V| (Jy)
  float phase_rad = 0;      // arg V in (-pi, pi]
  float weight = 0;
  std::uint8_t tel1 = 0, tel2 = 0;

  double UVDistance() const;  // sqrt(u^2 + v^2), megawavelengths
};

// A window for Refine; the default window holds everything.
struct AUVXVisWindow {
  static constexpr double kInf = std::numeric_limits<double>::infinity();
  double time_min_s = -kInf, time_max_s = kInf;  // seconds from 0h of the observation date
  double uv_min_mlambda = 0, uv_max_mlambda = kInf;
  int tel1 = 0, tel2 = 0;  // one baseline (either order) when both are non-zero

  bool HasTime() const { return time_min_s > -kInf || time_max_s < kInf; }
  bool HasUV() const { return uv_min_mlambda > 0 || uv_max_mlambda < kInf; }
  bool HasBaseline() const { return tel1 > 0 && tel2 > 0; }
  bool Holds(const AUVXVisPoint& p) const;
};

struct AUVXVisSample {
  std::vector<AUVXVisPoint> points;   // in group order
  AUVXVisChoice choice;               // the entry the points show
  std::int64_t first = 0, last = 0;   // the range of groups looked at, [first, last)
  std::int64_t stride = 1;            // 1: every group of the range was looked at
  std::int64_t blocks = 0;            // blocks of `stride` groups in the range: one point each
  std::int64_t spread = 1;            // a first look read blocks 0, spread, 2 spread, ... only
  std::int64_t keep_every = 1;        // a scan kept one of every keep_every points inside the window
  std::int64_t groups_read = 0;       // groups actually read
  std::int64_t skipped = 0;           // records left out (not finite)
  bool complete = false;              // the pass reached its end (not stopped, no read error)
};

// The stride for `groups` groups and at most `max_points` reads: ceil(groups / max_points), >= 1.
std::int64_t SampleStride(std::int64_t groups, std::int64_t max_points);
// The group read in block `block` of `stride` groups starting at `first`, for a range ending at
// `last` (exclusive).
std::int64_t SampledGroup(std::int64_t first, std::int64_t last, std::int64_t block, std::int64_t stride);

class AUVXVisSampler {
 public:
  static constexpr std::int64_t kDefaultMaxPoints = 200000;
  static constexpr std::int64_t kDefaultFirstPoints = 25000;

  // Opens the file for reading (its header and tables only). Non-zero on success; Error() says
  // what was wrong otherwise.
  int Open(const std::string& path);
  void Close() { file_.Close(); }
  const std::string& Error() const { return error_; }
  bool IsOpen() const { return file_.IsOpen(); }

  std::int64_t Groups() const { return file_.Groups(); }
  int NIF() const { return file_.NIF(); }
  int NChannels() const { return file_.NChannels(); }
  int NStokes() const { return file_.NStokes(); }
  const AUVXHeader& Header() const { return file_.Header(); }
  const AUVXFqTbl& Fq() const { return fq_; }
  // The name of telescope `number` from the AN table, or its number as text.
  std::string TelescopeName(int number) const;
  // The Stokes code of index s as short text ("RR", "I"), from the header.
  std::string StokesName(int s) const;
  // Whether the choice names an existing entry.
  bool Valid(const AUVXVisChoice& c) const;
  // Whether the groups looked at so far were in time order (decides whether Refine may bisect).
  bool TimeOrdered() const { return time_ordered_; }

  // One pass at a time: a pass (Sample, SampleRest, Refine, ...) may run on a worker thread while
  // other threads only ask for the file's counts, names and tables above.

  // Every k-th group of the file (see above). Non-zero when the pass ended normally.
  int Sample(const AUVXVisChoice& choice, std::int64_t max_points, AUVXVisSample& out,
             const StopFlag* stop = nullptr, ProgressSink* progress = nullptr);
  // The first step of the same sample: blocks 0, m, 2m, ... of Sample's blocks, m =
  // ceil(blocks / first_points) (out.spread = m; out.complete only when m is 1).
  int SampleFirstLook(const AUVXVisChoice& choice, std::int64_t max_points, std::int64_t first_points,
                      AUVXVisSample& out, const StopFlag* stop = nullptr, ProgressSink* progress = nullptr);
  // Called with each batch of new points while SampleRest runs, on the thread that runs it.
  using Deliver = std::function<void(const AUVXVisPoint* points, std::size_t count)>;
  // The second step: the blocks a first look left out, in file order, handed to `deliver` (may be
  // empty) every `batch` points and merged into `sample` (in group order) at the end: then
  // `sample` equals what Sample gives, with spread 1 and complete. A stop or a read failure merges
  // the points read so far and returns 0 (`sample.complete` false).
  int SampleRest(AUVXVisSample& sample, std::int64_t batch, const Deliver& deliver,
                 const StopFlag* stop = nullptr, ProgressSink* progress = nullptr);
  // The groups inside `window` (see above). Non-zero when the pass ended normally.
  int Refine(const AUVXVisChoice& choice, const AUVXVisWindow& window, std::int64_t max_points,
             AUVXVisSample& out, const StopFlag* stop = nullptr, ProgressSink* progress = nullptr);

  // One point read from group g (tests and the viewer's look-ups). Non-zero on success.
  int ReadPoint(std::int64_t g, const AUVXVisChoice& choice, AUVXVisPoint& point);

 private:
  double FreqHz(int freq_id, const AUVXVisChoice& c) const;
  int Strided(const AUVXVisChoice& c, std::int64_t first, std::int64_t last, std::int64_t max_points,
              std::int64_t spread, const AUVXVisWindow* window, AUVXVisSample& out, const StopFlag* stop,
              ProgressSink* progress);
  // Reads the points of groups group_at(0), ..., group_at(n - 1), announcing the pieces of the
  // next reads to the kernel ahead, and hands each to use(point). 0 on a stop or read failure.
  int ReadSequence(const AUVXVisChoice& c, std::int64_t n, const std::function<std::int64_t(std::int64_t)>& group_at,
                   const std::function<void(const AUVXVisPoint&)>& use, AUVXVisSample& out, const StopFlag* stop,
                   ProgressSink* progress);
  std::size_t EntryOffset(const AUVXVisChoice& c) const;
  int Scan(const AUVXVisChoice& c, std::int64_t first, std::int64_t last, std::int64_t max_points,
           const AUVXVisWindow& window, AUVXVisSample& out, const StopFlag* stop, ProgressSink* progress);
  // First group at or after time t (seconds from 0h) in a time-ordered file, by bisection.
  int LowerBound(double t, std::int64_t& index);
  void PointFrom(const unsigned char* group, const unsigned char* entry, std::int64_t g,
                 const AUVXVisChoice& c, AUVXVisPoint& p) const;
  // Whether the point's time, u, v and amplitude are finite; counts it in out.skipped otherwise.
  static bool Usable(const AUVXVisPoint& p, AUVXVisSample& out);
  bool Keep(const AUVXVisPoint& p, AUVXVisSample& out);
  // Non-zero when a file is open and the choice names an entry of it; sets Error() otherwise.
  int CanRead(const AUVXVisChoice& choice);
  int ReadFail(AUVXVisSample& out, std::int64_t g);

  AUVXFile file_;
  AUVXFqTbl fq_;
  AUVXAntenns antennas_;
  std::string error_;
  std::atomic<bool> time_ordered_{true};
};
