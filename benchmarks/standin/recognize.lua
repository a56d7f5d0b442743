-- For wrk: posts the image that the environment variable IMAGE names, again and again.
local file = assert(io.open(os.getenv("IMAGE"), "rb"))
wrk.method = "POST"
wrk.path = "/v1/recognize"
wrk.body = file:read("*a")
file:close()

function done(summary, latency)
  io.write(string.format('{"requests": %d, "seconds": %.3f, "errors": %d, "p50_us": %d, "p99_us": %d, "p999_us": %d}\n',
    summary.requests, summary.duration / 1e6,
    summary.errors.connect + summary.errors.read + summary.errors.write + summary.errors.status + summary.errors.timeout,
    latency:percentile(50), latency:percentile(99), latency:percentile(99.9)))
end
