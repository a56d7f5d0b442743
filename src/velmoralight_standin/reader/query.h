// The query of a request, taken apart.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace standin {

using QueryParameters = std::vector<std::pair<std::string, std::string>>;

// The parameters of a query in their order, with "%2C" and the like decoded. A parameter without
// "=" has an empty value. Nothing when an escape is malformed.
[[nodiscard]] std::optional<QueryParameters> parseQuery(std::string_view query);

}  // namespace standin
