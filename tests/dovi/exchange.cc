#include "dovi/exchange.h"

#include <memory>
#include <utility>

#include <doctest/doctest.h>

#include "support/bytes.h"

using kesu_test::TextOf;
using kesu_test::ViewOf;

ScopedSettings::ScopedSettings(const std::string& host, int total_timeout_ms) {
  DoviDeploymentSettings settings;
  settings.host = host.c_str();
  settings.total_timeout_ms = total_timeout_ms;
  REQUIRE(SetDoviDeploymentSettings(settings));
}

ScopedSettings::~ScopedSettings() {
  SetDoviDeploymentSettings(DoviDeploymentSettings());
}

Exchange::Exchange(DoviHttpRequestFactory* factory, std::string body, Method method)
    : body_(std::move(body)), body_view_(ViewOf(body_)) {
  // Requests go to the address of the settings, whatever is asked for here.
  const common_base::GString url("http://ignored.invalid/");
  request = method == kGet
                ? factory->NewHttpGetRequest(url, &response_body, &status_info)
                : factory->NewHttpPostRequest(url, &body_view_, &response_body, &status_info);
}

void Exchange::Cancel() {
  if (request != nullptr) std::exchange(request, nullptr)->Cancel();
}

void Exchange::Run() {
  REQUIRE(Start() == 0);
  REQUIRE(kesu_test::IterateUntil([this] { return HasEnded(); }));
}

std::string Exchange::ResponseHeaders() const {
  const std::unique_ptr<HeaderFieldIteratorInterface> field(request->HttpResponseHeaders());
  std::string headers;
  for (; !field->AtEnd(); field->Next()) {
    headers += TextOf(field->FieldName()) + "=" + TextOf(field->FieldValue()) + "|";
  }
  return headers;
}

void Exchange::OnRequestComplete(common_base::RequestInterface* ended) {
  CHECK(ended == request);
  ++completed;
  on_end();
}

void Exchange::OnRequestFailed(common_base::RequestInterface* ended) {
  CHECK(ended == request);
  ++failed;
  on_end();
}
