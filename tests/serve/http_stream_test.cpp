#include "http_stream.h"

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace cimom {
namespace {

// A client that takes a little at a time is seen taking it: what waits in the kernel is not
// megabytes.
TEST(HttpStream, LeavesLittleToTheKernel) {
  boost::asio::io_context context;
  HttpStream stream({context, boost::asio::ip::tcp::v4()}, nullptr);
  int unsent = 0;
  socklen_t size = sizeof unsent;
  ASSERT_EQ(
      getsockopt(stream.socket().native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &unsent, &size),
      0);
  EXPECT_GT(unsent, 0);
  EXPECT_LE(unsent, 256 << 10);
}

}  // namespace
}  // namespace cimom
