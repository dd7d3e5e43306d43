#include "PendingMsg.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "DataSocket.h"
#include "LogStream.h"
#include "Marshalling.h"

PendingMsg::PendingMsg(DataSocket* socket, char* buffer)
    : _socket(socket), _status(TO_SEND), _buffer(buffer), _position(buffer) {
  long size = 0;
  quantize(size, buffer, buffer + 4);
  _size = _remaining = size > 0 ? static_cast<unsigned long>(size) : 0;
  if (_size == 0) _status = SYSTEM_ERROR;
}

void PendingMsg::send(bool quiet) {
  while (_status == TO_SEND) {
    // Never blocks, and a peer that has gone answers EPIPE, not SIGPIPE.
    ssize_t n = ::send(_socket->descriptor(), _position, _remaining,
                       MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n < 0 && (errno == EPIPE || errno == ECONNRESET)) {
      if (!_socket->reconnect(quiet, quiet)) {
        if (!quiet) {
          ZLOG(LogStream::PROBLEM)
              << "Can not reconnect to " << _socket->peer() << std::endl
              << "Aborting the send of this message." << std::endl;
        }
        _status = UNAVAILABLE;
        return;
      }
      if (!quiet) {
        ZLOG(LogStream::DEBUG)
            << "Detected a broken connection during a write() "
            << "but was able to re-establish the connection. "
            << "Will reattempt the write() ..." << std::endl;
      }
      _position = _buffer;
      _remaining = _size;
      continue;
    }
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
      if (!quiet) {
        ZLOG(LogStream::PROBLEM)
            << "write() failed in PendingMsg::send(). " << std::endl
            << "Reason: " << std::strerror(errno) << std::endl
            << "Target: " << _socket->peer() << std::endl
            << "SD: " << _socket->descriptor() << std::endl
            << "Num Bytes for write: " << _remaining << std::endl;
      }
      _status = SYSTEM_ERROR;
      return;
    }
    unsigned long written = n > 0 ? static_cast<unsigned long>(n) : 0;
    _position += written;
    _remaining -= written;
    if (_remaining == 0) {
      _status = SENT;
    } else if (!quiet) {
      ZLOG(LogStream::VERBOSE)
          << "PARTIAL SOCKET WRITE to : " << _socket->peer() << std::endl
          << "Wrote " << written << " bytes but still have " << _remaining
          << " bytes to write" << std::endl;
    }
    return;
  }
}
