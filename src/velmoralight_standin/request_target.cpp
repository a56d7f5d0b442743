#include "velmoralight_standin/request_target.h"

#include <algorithm>
#include <cstddef>

namespace standin {

namespace {

std::string_view withoutHost(std::string_view target) {
    constexpr std::string_view kScheme = "http://";
    if (!target.starts_with(kScheme)) {
        return target;
    }
    const std::size_t path = target.find_first_of("/?", kScheme.size());
    return path == std::string_view::npos ? "/" : target.substr(path);
}

}  // namespace

RequestTarget splitTarget(std::string_view target) noexcept {
    const std::string_view all = withoutHost(target);
    const std::size_t end = std::min(all.find('?'), all.size());
    return {all.substr(0, end), all.substr(std::min(end + 1, all.size()))};
}

}  // namespace standin
