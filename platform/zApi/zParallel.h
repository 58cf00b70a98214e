// Row-parallel execution. zParallel_Execute splits a call into the pool's number of tasks and
// runs the worker once per task; the caller's thread takes part, and the call returns when every
// task has finished. A worker may itself call zParallel_Execute: nested calls never deadlock.
#ifndef ZAPI_ZPARALLEL_H
#define ZAPI_ZPARALLEL_H

#include "zObject.h"

Z_BEGIN_C

typedef struct zParallelArgs zParallelArgs;
typedef void* zThreadPool;

/* A worker returns zOK, or a failure status that zParallel_Execute hands back to the caller.
   A C++ worker may also throw: the exception is carried back and rethrown on the caller's
   thread. With several failing tasks, the lowest task index wins. */
typedef zStatus (*zParallelWorker)(const zParallelArgs* args, void* context);

/* The pool used for a null pool argument; it splits a call into as many tasks as the machine has
   hardware threads. Never destroyed. */
Z_API zThreadPool zThreadPool_Default(void);
/* A pool that splits every call into `taskCount` tasks (at least 1), whatever the machine. */
Z_API zStatus zThreadPool_Construct(zThreadPool* pool, zSize taskCount, zAlloc alloc);
/* Number of tasks a call on this pool runs (null: the default pool). Size per-task result slots
   with it. */
Z_API zSize zThreadPool_Count(zThreadPool pool);

/* Runs worker(args, context) once per task of the pool (null: the default pool). */
Z_API zStatus zParallel_Execute(zParallelWorker worker, void* context, zThreadPool pool);

/* This task's index in [0, task count) and the task count. */
Z_API zSize zParallelArgs_Index(const zParallelArgs* args);
Z_API zSize zParallelArgs_Count(const zParallelArgs* args);
/* This task's share of the half-open range [first, first + count): the shares of all tasks are
   contiguous, disjoint, in task order, and differ in size by at most one. */
Z_API zSize zParallelArgs_Begin(const zParallelArgs* args, zSize first, zSize count);
Z_API zSize zParallelArgs_End(const zParallelArgs* args, zSize first, zSize count);

Z_END_C

#endif
