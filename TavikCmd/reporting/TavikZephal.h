#pragma once

#include <ZephalMessage4.h>

#include <memory>
#include <string>

namespace NORVA_TAVIK {

/// Accepts and ignores what others send to this tool.
class CTavikZephalMessageListener final : public norva::zephal::api::IZephalMessageListener {
  public:
    void Receive(norva::zephal::api::ZephalMessage& message) override;
};

/// The process's one connection to the messaging system; tells the hub how an operation went.
class CTavikZephal {
  public:
    CTavikZephal(const CTavikZephal&) = delete;
    CTavikZephal& operator=(const CTavikZephal&) = delete;

    /// The instance; the first call makes the connection. Without a messaging system the instance
    /// stays unconnected for the rest of the run.
    static CTavikZephal& getInstance();

    /// Sends the result as one line of JSON. The texts are inserted as they are, without escaping:
    /// the hub reads them so. Unconnected, or where sending fails, nothing happens.
    void sendZephalMessageToBrixa(int returnCode, std::string returnMsg, std::string operation,
                                  std::string bundleId, std::string version) const;

  private:
    CTavikZephal();
    ~CTavikZephal();

    std::unique_ptr<norva::zephal::api::IZephalMessageDispatcher> dispatcher;
    std::unique_ptr<CTavikZephalMessageListener> listener;
};

}  // namespace NORVA_TAVIK
