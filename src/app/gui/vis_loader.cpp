#include "app/gui/vis_loader.h"

void AMVisLoader::Start(AUVXVisSampler& sampler, const AUVXVisSample& first_look, std::int64_t batch) {
  Stop();
  stop_ = 0;
  ok_ = 0;
  result_ = first_look;
  arrived_.clear();
  announced_ = false;
  const unsigned generation = ++generation_;
  thread_ = std::thread([this, &sampler, batch, generation] {
    const auto deliver = [this](const AUVXVisPoint* points, std::size_t n) {
      std::lock_guard<std::mutex> lock(mutex_);
      arrived_.insert(arrived_.end(), points, points + n);
      if (announced_) return;  // the interface has not taken the previous batch yet
      announced_ = true;
      QMetaObject::invokeMethod(this, [this] { emit arrived(); }, Qt::QueuedConnection);
    };
    const int ok = sampler.SampleRest(result_, batch, deliver, &stop_);
    ok_ = ok;
    // Queued to the interface thread; dropped with the loader, ignored when a Stop came first.
    QMetaObject::invokeMethod(
        this,
        [this, generation, ok] {
          if (generation != generation_ || !Running()) return;
          Join();
          emit finished(ok);
        },
        Qt::QueuedConnection);
  });
}

void AMVisLoader::Join() {
  if (thread_.joinable()) thread_.join();
}

bool AMVisLoader::Stop() {
  if (!Running()) return false;
  stop_ = 1;
  Join();
  return true;
}

bool AMVisLoader::Wait() {
  if (!Running()) return false;
  Join();
  return true;
}

std::vector<AUVXVisPoint> AMVisLoader::TakeArrived() {
  std::lock_guard<std::mutex> lock(mutex_);
  announced_ = false;
  std::vector<AUVXVisPoint> points;
  points.swap(arrived_);
  return points;
}
