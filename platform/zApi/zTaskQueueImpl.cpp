#include "zTaskQueueImpl.h"

#include <algorithm>

namespace zapi {

TaskQueue& TaskQueue::Instance() {
  static TaskQueue queue([] {
    const unsigned hardware = std::thread::hardware_concurrency();
    return hardware > 1 ? hardware - 1 : 1u;
  }());
  return queue;
}

TaskQueue::TaskQueue(unsigned workers) {
  threads_.reserve(workers);
  for (unsigned i = 0; i < workers; ++i) threads_.emplace_back([this] { WorkerLoop(); });
}

TaskQueue::~TaskQueue() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  workAvailable_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void TaskQueue::WorkerLoop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    workAvailable_.wait(lock, [this] { return stopping_ || !open_.empty(); });
    if (stopping_) return;
    RunOne(lock, nullptr);
  }
}

bool TaskQueue::RunOne(std::unique_lock<std::mutex>& lock, Batch* preferred) {
  if (open_.empty()) return false;
  Batch* batch = open_.front();
  if (preferred && preferred->next < preferred->total) batch = preferred;
  const zSize index = batch->next++;
  if (batch->next == batch->total) open_.erase(std::find(open_.begin(), open_.end(), batch));
  lock.unlock();
  (*batch->body)(index);
  lock.lock();
  if (--batch->remaining == 0) batchFinished_.notify_all();
  return true;
}

void TaskQueue::Run(zSize tasks, const std::function<void(zSize)>& body) {
  if (tasks == 0) return;
  Batch batch{&body, tasks};
  batch.remaining = tasks;
  std::unique_lock<std::mutex> lock(mutex_);
  open_.push_back(&batch);
  if (tasks > 1) workAvailable_.notify_all();
  while (batch.remaining > 0) {
    if (!RunOne(lock, &batch)) {
      batchFinished_.wait(lock, [&] { return batch.remaining == 0 || !open_.empty(); });
    }
  }
}

}  // namespace zapi
