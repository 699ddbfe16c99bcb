#pragma once

#include <boost/asio/ssl/context.hpp>

#include <client/cim_xml_client.h>

namespace cimom {

/// TLS 1.2 or later, with the authorities that the settings trust, or taking any certificate where
/// they say so. Throws std::runtime_error with the name of a file that cannot be used.
boost::asio::ssl::context makeClientTls(const ClientSettings& settings);

}  // namespace cimom
