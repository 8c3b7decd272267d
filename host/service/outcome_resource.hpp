#pragma once

#include "host/control/control_router.hpp"
#include "host/service/dispatch_service.hpp"

namespace quernlight::host {

/// What came of the work, of the service, offered to people as HTTP and JSON. Outlives the requests.
class OutcomeResource {
  public:
    /// The service outlives this.
    explicit OutcomeResource(DispatchService& service) : service_(service) {}

    void offerOn(ControlRouter& router);

  private:
    void offerReport(ControlRouter& router);
    void offerPreserved(ControlRouter& router);
    void offerReview(ControlRouter& router);

    DispatchService& service_;
};

}  // namespace quernlight::host
