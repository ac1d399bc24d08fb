#ifndef SERVER_INSPECT_SUMMARY_JSON_H_
#define SERVER_INSPECT_SUMMARY_JSON_H_

#include <string>

#include "server/inspect/exchange.h"

namespace kesu_server {

/// {"id":17,"time":"2026-11-22T02:18:25.123Z",...} on one line: what a list says of an exchange.
std::string SummaryJson(const Exchange& exchange);

}  // namespace kesu_server

#endif  // SERVER_INSPECT_SUMMARY_JSON_H_
