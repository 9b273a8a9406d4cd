// The checksum of a next hop in JSON, whoever wrote it: quoted or plain numbers, addresses as text or as numbers.
#pragma once

#include <cstdint>
#include <string>

namespace Bench {

/// Throws what nlohmann-json throws for text that is not JSON.
std::uint64_t jsonSum(const std::string& json);

} // namespace Bench
