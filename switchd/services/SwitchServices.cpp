#include "switchd/services/SwitchServices.h"

SwitchServices::SwitchServices(Transport& transport, AttributeStore& attributes, EventLogStore& log)
    : names_(transport, components_, faults_),
      events_(transport),
      attributes_(transport, attributes, faults_),
      monitor_(transport, components_),
      management_(transport),
      log_(transport, log, events_),
      happenings_(attributes, events_, log_),
      operator_(transport, OperatorParts{attributes, log, log_, happenings_, components_, management_, faults_}) {
}

int SwitchServices::open() {
    Service* const services[] = {&names_, &events_, &attributes_, &monitor_, &management_, &log_, &operator_};
    for (Service* service : services) {
        if (service->open() < 0) {
            close();
            return -1;
        }
    }
    return 0;
}

void SwitchServices::close() {
    Service* const services[] = {&names_, &events_, &attributes_, &monitor_, &management_, &log_, &operator_};
    for (Service* service : services) {
        service->close();
    }
}
