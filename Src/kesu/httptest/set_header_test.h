#ifndef KESU_HTTPTEST_SET_HEADER_TEST_H_
#define KESU_HTTPTEST_SET_HEADER_TEST_H_

#include <cstdio>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/http_request_factory.h"
#include "kesu/mux/http_request_interface.h"

namespace common_kesu {

/// The self-test of a transport: sends one GET with a header of its own, expects status 200 and the
/// header in the body of the answer, and prints "SetHeaderTest passed" and "All HTTP tests pass",
/// or "SetHeaderTest failed". Completes when it has passed, fails otherwise. It ends when the
/// transport does; deletes itself then, and on Cancel().
class SetHeaderTest : public common_base::RequestInterface,
                      private common_base::RequesterInterface {
 public:
  /// The factory and `out`, where the outcome is printed, are borrowed.
  SetHeaderTest(HttpRequestFactory* factory, const common_base::GString& url, std::FILE* out)
      : factory_(factory), url_(url), out_(out) {}
  SetHeaderTest(const SetHeaderTest&) = delete;
  SetHeaderTest& operator=(const SetHeaderTest&) = delete;

  /// Not 0, after printing the outcome, when the GET could not be sent.
  int Start(common_base::RequesterInterface* requester) override;
  void Cancel() override { delete this; }
  /// Why the GET got no response; to be asked when the test has failed, from inside the callback.
  TransportError last_transport_error() const;

 private:
  ~SetHeaderTest() override;

  void OnRequestComplete(common_base::RequestInterface* request) override;
  void OnRequestFailed(common_base::RequestInterface* request) override;
  bool IsHeaderEchoed() const;
  void PrintOutcome(bool passed) const;

  HttpRequestFactory* factory_;
  common_base::GString url_;
  std::FILE* out_;
  common_base::RequesterInterface* requester_ = nullptr;
  /// Released by its Cancel().
  HttpRequestInterface* get_ = nullptr;
  common_base::GVector<unsigned char> response_body_;
  HttpRequestFactory::StatusInfo status_info_;
};

}  // namespace common_kesu

#endif  // KESU_HTTPTEST_SET_HEADER_TEST_H_
