// What a client's calls of the sensor service pass through, those of the manager and of its event queues alike.
#pragma once

#include <atomic>
#include <memory>

#include "phone/faults/faults.h"
#include "phone/sensors/stage.h"

namespace phone {

// Any thread may call. Queues share it with their manager, and may outlive that.
class ServiceLink {
 public:
  ServiceLink(std::shared_ptr<const Faults> faults, std::shared_ptr<Stage> stage)
      : faults_(std::move(faults)), stage_(std::move(stage)) {}

  const Faults& faults() const { return *faults_; }
  const std::shared_ptr<Stage>& stage() const { return stage_; }

  // Counts a call. False: it fails in transport.
  bool take_call();
  // The service that leaves the registry when it dies; only compared, never called.
  void serve(const void* service) { service_ = service; }
  void disconnect() { connected_ = false; }

 private:
  void die();

  const std::shared_ptr<const Faults> faults_;
  const std::shared_ptr<Stage> stage_;
  std::atomic<const void*> service_{nullptr};
  std::atomic<bool> connected_{true};
  std::atomic<int> calls_{0};
};

}  // namespace phone
