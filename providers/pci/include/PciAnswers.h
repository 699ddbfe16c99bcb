#pragma once

#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>
#include <zelcppc/CmpiStatus.h>

/// The vocabulary of requests and answers, for every unit of the provider.
namespace pciprovider {

using zelInt::CmpiContext;
using zelInt::CmpiData;
using zelInt::CmpiInstance;
using zelInt::CmpiObjectPath;
using zelInt::CmpiResult;
using zelInt::CmpiStatus;

/// Ends the answer, which is complete.
inline CmpiStatus Done(CmpiResult& result) {
  result.returnDone();
  return CmpiStatus(CMPI_RC_OK);
}

/// The requested object does not exist; the answer stays open.
inline CmpiStatus NotFound() {
  return CmpiStatus(CMPI_RC_ERR_NOT_FOUND);
}

}  // namespace pciprovider
