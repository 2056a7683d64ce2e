// Sockets in the file system.

#ifndef ZEMO_TESTS_SUPPORT_BOUND_SOCKET_H
#define ZEMO_TESTS_SUPPORT_BOUND_SOCKET_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

// Creates a socket at `path` on which nobody listens.
inline void bindSocket(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  int const fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  (void)close(fd);
}

#endif
