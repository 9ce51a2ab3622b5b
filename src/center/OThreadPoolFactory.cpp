#include "center/OThreadPoolFactory.h"

#include "host/Singleton.h"

namespace Ostrel {

OThreadPoolFactory* OThreadPoolFactory::GetInstance() {
  return Singleton<OThreadPoolFactory>::Get();
}

void OThreadPoolFactory::DestroyInstance() { Singleton<OThreadPoolFactory>::Destroy(); }

OThreadPoolFactory::OThreadPoolFactory()
    : primary_(std::make_unique<TaskExecutor>(kMinThreads, kMaxThreads)),
      secondary_(std::make_unique<TaskExecutor>(kMaxThreads, kMaxThreads)),
      storage_(std::make_unique<TaskExecutor>(kMaxThreads, kMaxThreads)) {}

OThreadPoolFactory::~OThreadPoolFactory() {
  // Primary first: a task finishing there may still post to the secondary,
  // whose own shutdown then drops it.
  primary_->Shutdown();
  secondary_->Shutdown();
  // Last: the network tasks above may still hand it writes. What it drops is
  // written by the caches' own flush.
  storage_->Shutdown();
}

bool OThreadPoolFactory::PostPrimary(TaskExecutor::Task task, std::string name) {
  return GetInstance()->Primary().Post(std::move(task), std::move(name));
}

bool OThreadPoolFactory::PostSecondary(TaskExecutor::Task task, std::string name) {
  return GetInstance()->Secondary().Post(std::move(task), std::move(name));
}

bool OThreadPoolFactory::PostStorage(TaskExecutor::Task task, std::string name) {
  return GetInstance()->Storage().Post(std::move(task), std::move(name));
}

}  // namespace Ostrel
