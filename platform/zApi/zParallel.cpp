#include "zParallel.h"

#include <exception>
#include <functional>
#include <thread>
#include <vector>

#include "zTaskQueueImpl.h"

#include "zObjectImpl.h"

struct zParallelArgs {
  zSize index;
  zSize count;
};

namespace {
struct Pool : zObjectHeader {
  zSize tasks = 1;
};
}  // namespace

const zClassInfo zClassInfo_zThreadPool = {"zThreadPool", &zapi::DeleteObject<Pool>};

namespace {

Pool* DefaultPool() {
  static Pool* pool = [] {
    static Pool instance;
    instance.cls = &zClassInfo_zThreadPool;
    instance.refs = 1 << 30;  // shared and destroyed by callers, never freed
    instance.alloc = nullptr;
    const unsigned hardware = std::thread::hardware_concurrency();
    instance.tasks = hardware > 0 ? hardware : 1;
    return &instance;
  }();
  return pool;
}

Pool* Resolve(zThreadPool pool) {
  return pool ? zapi::Cast<Pool>(pool, &zClassInfo_zThreadPool) : DefaultPool();
}

}  // namespace

zThreadPool zThreadPool_Default(void) {
  return DefaultPool();
}

zStatus zThreadPool_Construct(zThreadPool* pool, zSize taskCount, zAlloc alloc) {
  if (!pool) return zERROR_PARAMETER;
  Pool* p = nullptr;
  zStatus status = zapi::NewObject(alloc, &zClassInfo_zThreadPool, &p);
  if (status != zOK) {
    *pool = nullptr;
    return status;
  }
  p->tasks = taskCount > 0 ? taskCount : 1;
  *pool = p;
  return zOK;
}

zSize zThreadPool_Count(zThreadPool pool) {
  Pool* p = Resolve(pool);
  return p ? p->tasks : 0;
}

zStatus zParallel_Execute(zParallelWorker worker, void* context, zThreadPool pool) {
  Pool* p = Resolve(pool);
  if (!worker || !p) return zERROR_PARAMETER;
  const zSize tasks = p->tasks;
  std::vector<zStatus> statuses(tasks, zOK);
  std::vector<std::exception_ptr> errors(tasks);
  auto run = [&](zSize index) {
    const zParallelArgs args{index, tasks};
    try {
      statuses[index] = worker(&args, context);
    } catch (...) {
      errors[index] = std::current_exception();
    }
  };
  if (tasks == 1) {
    run(0);
  } else {
    zapi::TaskQueue::Instance().Run(tasks, run);
  }
  for (auto& error : errors) {
    if (error) std::rethrow_exception(error);
  }
  for (zStatus status : statuses) {
    if (status != zOK) return status;
  }
  return zOK;
}

zSize zParallelArgs_Index(const zParallelArgs* args) {
  return args ? args->index : 0;
}
zSize zParallelArgs_Count(const zParallelArgs* args) {
  return args ? args->count : 1;
}

namespace {
zSize ShareStart(zSize index, zSize tasks, zSize count) {
  const zSize base = count / tasks, extra = count % tasks;
  return index * base + (index < extra ? index : extra);
}
}  // namespace

zSize zParallelArgs_Begin(const zParallelArgs* args, zSize first, zSize count) {
  if (!args) return first;
  return first + ShareStart(args->index, args->count, count);
}

zSize zParallelArgs_End(const zParallelArgs* args, zSize first, zSize count) {
  if (!args) return first + count;
  return first + ShareStart(args->index + 1, args->count, count);
}
