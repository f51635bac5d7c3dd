#pragma once
// AMVisLoader: reads the rest of a visibility sample on a worker thread while the viewer shows its
// first look (AUVXVisSampler::SampleRest). New points arrive in batches and are announced on the
// interface thread (arrived); the end of the pass by itself is announced too (finished). Stop
// raises the stop flag and waits for the worker: it ends within one read, and the sample read so
// far (in group order) is then the result. Destroying the loader stops it.

#include <QObject>
#include <mutex>
#include <thread>
#include <vector>

#include "uvx/vis_sampler.h"

class AMVisLoader final : public QObject {
  Q_OBJECT
 public:
  explicit AMVisLoader(QObject* parent = nullptr) : QObject(parent) {}
  ~AMVisLoader() override { Stop(); }

  // Starts reading the blocks `first_look` left out, handing over every `batch` groups read. The
  // sampler must stay open and is used by nothing else until the loader has ended or stopped.
  void Start(AUVXVisSampler& sampler, const AUVXVisSample& first_look, std::int64_t batch);
  bool Running() const { return thread_.joinable(); }
  // Raises the stop flag and waits for the worker. True when a pass was running (its result is
  // then ready for TakeResult).
  bool Stop();
  // Waits for the pass to end by itself (tests and scripts), as if `finished` had arrived; true
  // when a pass was running.
  bool Wait();

  // The points that arrived since the last call.
  std::vector<AUVXVisPoint> TakeArrived();
  // The sample once the pass has ended: complete, or the points read before a stop or a read
  // failure. Ok() is the pass's result, 0 after a stop or a read failure.
  AUVXVisSample TakeResult() { return std::move(result_); }
  int Ok() const { return ok_; }

 signals:
  void arrived();          // new points for TakeArrived
  void finished(int ok);   // the pass ended by itself; the result is ready

 private:
  void Join();

  std::thread thread_;
  StopFlag stop_{0};
  std::mutex mutex_;
  std::vector<AUVXVisPoint> arrived_;  // guarded by mutex_
  bool announced_ = false;             // an `arrived` is on its way (guarded by mutex_)
  unsigned generation_ = 0;            // the pass a queued end notice belongs to
  AUVXVisSample result_;
  int ok_ = 0;
};
