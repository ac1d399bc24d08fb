#include "server/inspect/exchange_ring.h"

#include <algorithm>
#include <utility>

namespace kesu_server {
namespace {

/// What it takes of memory.
std::size_t SizeOf(const Exchange& exchange) {
  std::size_t bytes = sizeof exchange;
  for (const std::string* text :
       {&exchange.client, &exchange.fault, &exchange.request.bytes, &exchange.request.media_type,
        &exchange.reply.bytes, &exchange.reply.media_type}) {
    bytes += text->capacity();
  }
  return bytes;
}

}  // namespace

void ExchangeRing::Add(Exchange exchange) {
  exchange.id = end_id_++;
  bytes_ += SizeOf(exchange);
  exchanges_.push_back(std::move(exchange));
  while (exchanges_.size() > room_.exchanges || bytes_ > room_.bytes) {
    bytes_ -= SizeOf(exchanges_.front());
    exchanges_.pop_front();
  }
}

const Exchange* ExchangeRing::Find(std::uint64_t id) const {
  if (id < begin_id() || id >= end_id()) return nullptr;
  return &exchanges_[static_cast<std::size_t>(id - begin_id())];
}

std::size_t ExchangeRing::KeptBytes(std::size_t length) const {
  return std::min(length, room_.body_bytes);
}

}  // namespace kesu_server
