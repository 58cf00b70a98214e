// Private to the platform: the worker threads behind zParallel_Execute.
//
// A call hands a batch of tasks to a shared queue and then works on the queue itself until its
// own batch is done: first its own tasks, then any other batch's, and it sleeps only when nothing
// is left to claim. Since every waiting thread keeps executing queued tasks, a task that makes a
// nested call cannot deadlock: the nested batch is run by the nested caller if no one else is
// free. All synchronisation is one mutex and two condition variables, so ThreadSanitizer sees
// every hand-over (an uninstrumented task library shows its own hand-overs as races).
#ifndef ZAPI_ZTASKQUEUEIMPL_H
#define ZAPI_ZTASKQUEUEIMPL_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "zDefs.h"

namespace zapi {

class TaskQueue {
 public:
  // The process's queue, with one worker thread fewer than the hardware threads (the caller is
  // the last one). Threads start on first use and are joined at exit.
  static TaskQueue& Instance();

  // Runs body(i) for every i in [0, tasks) and returns when all have finished. body must not
  // throw.
  void Run(zSize tasks, const std::function<void(zSize)>& body);

  ~TaskQueue();

 private:
  struct Batch {
    const std::function<void(zSize)>* body;
    zSize total;
    zSize next = 0;       // first unclaimed task
    zSize remaining = 0;  // tasks not yet finished
  };

  explicit TaskQueue(unsigned workers);
  void WorkerLoop();
  // Claims one task, preferring `preferred` when it has unclaimed tasks, runs it without the lock
  // and marks it finished. Returns false when nothing was left to claim.
  bool RunOne(std::unique_lock<std::mutex>& lock, Batch* preferred);

  std::mutex mutex_;
  std::condition_variable workAvailable_;
  std::condition_variable batchFinished_;
  std::deque<Batch*> open_;  // batches with unclaimed tasks, oldest first
  std::vector<std::thread> threads_;
  bool stopping_ = false;
};

}  // namespace zapi

#endif
