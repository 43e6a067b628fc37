#include "platform/core/package/Fault.h"

namespace tavik {

FaultSink throwOnFault(std::string subject) {
    return [subject = std::move(subject)](const Fault& fault) {
        fail(fault.status, subject,
             fault.place.empty() ? fault.text : fault.place + ": " + fault.text);
    };
}

void stopAt(const FaultSink& report, const Fault& fault) {
    report(fault);
    throw CheckStopped();
}

}  // namespace tavik
