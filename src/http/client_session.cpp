#include "http/client_session.h"

#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Net/SecureStreamSocketImpl.h>
#include <Poco/Net/StreamSocketImpl.h>

namespace com::corvane::connectivity::plugins {

using Poco::Net::SecureStreamSocket;
using Poco::Net::SecureStreamSocketImpl;
using Poco::Net::SocketAddress;
using Poco::Net::StreamSocket;
using Poco::Net::StreamSocketImpl;

namespace {

// The library keeps this constructor for derived classes.
class TlsSocket final : public SecureStreamSocket {
 public:
  explicit TlsSocket(SecureStreamSocketImpl* impl) : SecureStreamSocket(impl) {}
};

}  // namespace

StreamSocket openSocketLike(const StreamSocket& model, SocketAddress::Family family) {
  const StreamSocket plain(family);
  if (!model.secure()) return plain;
  const SecureStreamSocket tlsModel(model);
  TlsSocket tls(
      new SecureStreamSocketImpl(static_cast<StreamSocketImpl*>(plain.impl()), tlsModel.context()));
  tls.setPeerHostName(tlsModel.getPeerHostName());
  return tls;
}

}  // namespace com::corvane::connectivity::plugins
