#pragma once

#include "host/control/control_router.hpp"
#include "host/service/dispatch_service.hpp"
#include "host/service/service_error.hpp"

namespace quernlight::host {

/// The service, offered to other processes of its user as HTTP and JSON. Outlives the requests.
class ServiceResource {
  public:
    /// The service outlives this.
    explicit ServiceResource(DispatchService& service) : service_(service) {}

    /// Offers all of it to people under /v1. A ServiceError is a problem with the code's name as "code".
    void offerOn(ControlRouter& router);

  private:
    void offerQueue(ControlRouter& router);
    void offerConfiguration(ControlRouter& router);
    void offerBugs(ControlRouter& router);
    void offerObservation(ControlRouter& router);

    DispatchService& service_;
};

}  // namespace quernlight::host
