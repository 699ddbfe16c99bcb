#pragma once

#include <provider_requests.h>

/// Answers as text, so that two of them can be compared whole.
namespace manners {

struct Exchange {
  requests::Request request;
  requests::Outcome outcome;
};

/// All that comes of a request, in lines: the status and whether it has a text (how a failure is
/// worded is the broker's affair), in what order instances, paths and dones were handed over, then
/// each instance and path in full. Some answers name the request's source as it came; the text then
/// has `source` in its place, so that requests that write it another way can be compared.
std::string textOf(const Exchange& exchange, const cimom::ObjectPath& source);

/// Both texts of the exchanges that differ, under the name of the request; empty when all are
/// equal.
std::string differences(const std::vector<Exchange>& expected, const std::vector<Exchange>& actual);

}  // namespace manners
