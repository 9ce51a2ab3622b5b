#include "center/OThreadPoolFactory.h"

#include "host/Singleton.h"

namespace Ostrel {

OThreadPoolFactory* OThreadPoolFactory::GetInstance() {
  return Singleton<OThreadPoolFactory>::Get();
}

OThreadPoolFactory* OThreadPoolFactory::PeekInstance() {
  return Singleton<OThreadPoolFactory>::Peek();
}

void OThreadPoolFactory::DestroyInstance() { Singleton<OThreadPoolFactory>::Destroy(); }

OThreadPoolFactory::OThreadPoolFactory()
    : primary_(std::make_unique<TaskExecutor>(kMinThreads, kMaxThreads)),
      secondary_(std::make_unique<TaskExecutor>(kMaxThreads, kMaxThreads)),
      storage_(std::make_unique<TaskExecutor>(kMaxThreads, kMaxThreads)) {}

OThreadPoolFactory::~OThreadPoolFactory() { Shutdown(); }

EngineExecutors OThreadPoolFactory::Route() {
  EngineExecutors executors;
  executors.startUp = primary_.get();
  executors.lazyLoads = primary_.get();
  executors.network = secondary_.get();
  executors.storage = storage_.get();
  return executors;
}

void OThreadPoolFactory::Shutdown() {
  // Primary first: a task finishing there may still post to the secondary,
  // whose own shutdown then drops it.
  primary_->Shutdown();
  secondary_->Shutdown();
  // Last: the network tasks above may still hand it writes. What it drops is
  // written by the caches' own flush.
  storage_->Shutdown();
}

}  // namespace Ostrel
