/// ZephalMessage4: messages between the applications of one user's session.
///
/// Conventions, for every operation unless its comment says otherwise:
///
///  1. Text comes in two calls. GetXSize() tells the size in bytes and counts the terminating NUL;
///     GetX(buffer) then fills a buffer of at least that size. Text is UTF-8.
///  2. Lists come in two calls as well: a count, then a fill of an array of that many elements.
///  3. A null text counts as "". Texts passed in are copied.
///  4. Failure is an answer (null, false, nothing found), never an exception other than
///     std::bad_alloc, and nothing is ever written to standard output or standard error.
///  5. No call waits for the bus longer than two seconds. A dispatcher whose bus has gone, or has
///     not answered in time, is given up: it sends, finds and hears nothing more, at once.
///  6. Threads. A dispatcher may be called from any thread, also from within Receive; calls are
///     carried out one after another. It is destroyed while no call is under way, and not from
///     within Receive.
///  7. Versions. Virtual operations keep their order; new ones are added at the end of a class.
#pragma once

#include <string>
#include <vector>

#define ZEPHAL_API __attribute__((visibility("default")))

namespace norva::zephal::api {

/// An application that can be sent to: its application id, and an id of its own among all endpoints
/// of the session. A value.
class ZEPHAL_API EndPoint {
  public:
    /// Both texts empty: no endpoint.
    EndPoint() = default;
    EndPoint(const char* appId, const char* id);

    unsigned long GetAppIdSize() const;
    void GetAppId(char* buffer) const;
    unsigned long GetIdSize() const;
    void GetId(char* buffer) const;

  private:
    std::string appId_;
    std::string id_;
};

/// What all messages have: a type, and the application id of the sender ("" before it is sent).
class ZEPHAL_API ZephalMessage {
  public:
    virtual ~ZephalMessage() = default;
    ZephalMessage(const ZephalMessage&) = delete;
    ZephalMessage& operator=(const ZephalMessage&) = delete;

    virtual unsigned long GetTypeSize() const = 0;
    virtual void GetType(char* buffer) const = 0;
    virtual unsigned long GetAppIdSize() const = 0;
    virtual void GetAppId(char* buffer) const = 0;

  protected:
    ZephalMessage() = default;
};

/// A message from application to application; the one kind that travels on the session bus.
class ZEPHAL_API SuiteMessage : public ZephalMessage {
  public:
    /// What the types that applications define begin with.
    static const char* const TYPE_PREFIX;

    /// A message without payload and without destinations, which makes it a message to all.
    explicit SuiteMessage(const char* type);
    ~SuiteMessage() override;

    unsigned long GetTypeSize() const override;
    void GetType(char* buffer) const override;
    unsigned long GetAppIdSize() const override;
    void GetAppId(char* buffer) const override;

    /// 0 where there is no payload. A payload may hold NULs; one more ends it.
    virtual unsigned long GetPayloadSize() const;
    virtual void GetPayload(char* buffer) const;
    virtual unsigned long GetDestinationCount() const;
    virtual void GetDestinations(EndPoint* endPoints) const;

    /// Copies the text up to its NUL; any bytes, UTF-8 or not.
    void SetPayload(const char* text);

    /// A message with destinations goes to those alone.
    void AddDestination(const EndPoint& endPoint);

  private:
    std::string type_;
    std::string payload_;
    std::vector<EndPoint> destinations_;
};

// The kinds below belong to messaging systems with a host that answers for applications. The
// session bus has none: there they are neither received nor sent.

/// A payload from the host.
class ZEPHAL_API HostMessage : public ZephalMessage {
  public:
    virtual unsigned long GetPayloadSize() const = 0;
    virtual void GetPayload(char* buffer) const = 0;
};

/// Where an application is installed; the result is its path.
class ZEPHAL_API GetAppPathMessage : public ZephalMessage {
  public:
    virtual unsigned long GetResultSize() const = 0;
    virtual void GetResult(char* buffer) const = 0;
    virtual unsigned long GetTargetSpecifierSize() const = 0;
    virtual void GetTargetSpecifier(char* buffer) const = 0;
};

/// Starts an application with a command line.
class ZEPHAL_API LaunchAppMessage : public ZephalMessage {
  public:
    virtual unsigned long GetCmdLineSize() const = 0;
    virtual void GetCmdLine(char* buffer) const = 0;
    virtual unsigned long GetTargetSpecifierSize() const = 0;
    virtual void GetTargetSpecifier(char* buffer) const = 0;
};

/// Whether an application is running.
class ZEPHAL_API IsAppRunningMessage : public ZephalMessage {
  public:
    virtual unsigned long GetTargetSpecifierSize() const = 0;
    virtual void GetTargetSpecifier(char* buffer) const = 0;
};

/// Whether an application is installed.
class ZEPHAL_API IsAppInstalledMessage : public ZephalMessage {
  public:
    virtual unsigned long GetTargetSpecifierSize() const = 0;
    virtual void GetTargetSpecifier(char* buffer) const = 0;
};

/// Which applications there are; the results are their specifiers.
class ZEPHAL_API GetTargetSpecifiersMessage : public ZephalMessage {
  public:
    virtual unsigned long GetResultCount() const = 0;
    virtual unsigned long GetResultSize(unsigned long index) const = 0;
    virtual void GetResult(unsigned long index, char* buffer) const = 0;
};

/// The answer to a message that could not be dealt with.
class ZEPHAL_API ErrorMessage : public ZephalMessage {
  public:
    virtual unsigned long GetErrorSize() const = 0;
    virtual void GetError(char* buffer) const = 0;
    virtual unsigned long GetFaultSize() const = 0;
    virtual void GetFault(char* buffer) const = 0;
};

/// Hears messages. Not deleted through this class.
class ZEPHAL_API IZephalMessageListener {
  public:
    /// Called on the library's thread; the message is gone once this returns. What it throws is
    /// dropped.
    virtual void Receive(ZephalMessage& message) = 0;

  protected:
    ~IZephalMessageListener() = default;
};

/// One connection to the messaging system, and one endpoint that others see until its end.
class ZEPHAL_API IZephalMessageDispatcher {
  public:
    /// A new dispatcher, the caller's to delete; null without a session bus, and where the bus
    /// refuses or does not answer. `appId` may have 70 bytes. `listener` is for messages to all,
    /// `listener2` for those that are addressed to this endpoint; they may be null or one and the
    /// same, and outlive the dispatcher. They hear from Listen() on: a process that only sends
    /// starts no thread.
    static IZephalMessageDispatcher* Create(const char* appId, IZephalMessageListener* listener,
                                            IZephalMessageListener* listener2);

    /// Leaves the bus. Waits for a Receive that is under way.
    virtual ~IZephalMessageDispatcher() = default;
    IZephalMessageDispatcher(const IZephalMessageDispatcher&) = delete;
    IZephalMessageDispatcher& operator=(const IZephalMessageDispatcher&) = delete;

    /// True once the bus has passed the message on; it needs nothing more of this process. Whether
    /// anyone listens is not told. False for kinds of messages that the bus does not carry, for a
    /// type or an own application id that is not UTF-8, and for a payload beyond 64 MiB.
    virtual bool Send(ZephalMessage& message) = 0;

    /// All endpoints, this one among them, in the order of application id and id. A fill gives what
    /// the count before it, on the same thread, has counted.
    virtual unsigned long GetEndPointCount() const = 0;
    virtual void GetEndPoints(EndPoint* endPoints) const = 0;

    /// The endpoints with this application id.
    virtual unsigned long GetEndPointCountByAppId(const char* appId) const = 0;
    virtual void GetEndPointsByAppId(const char* appId, EndPoint* endPoints) const = 0;

    /// The endpoints whose application id is this specifier or goes on from it with an instance,
    /// version, locale or suffix ("sketch" finds "sketch-17.2" and "Sketch_2", not "sketchbook").
    /// ASCII letters match in either case.
    virtual unsigned long GetEndPointCountBySpecifier(const char* specifier) const = 0;
    virtual void GetEndPointsBySpecifier(const char* specifier, EndPoint* endPoints) const = 0;

    /// Starts a thread that calls the listeners, in the order in which the bus delivers; the
    /// dispatcher's own messages are not heard. When it returns true, whatever is sent from now on
    /// is heard. Once listening, it changes nothing.
    virtual bool Listen() = 0;

  protected:
    IZephalMessageDispatcher() = default;
};

}  // namespace norva::zephal::api
