// Identity, clock, and tools.
//
//   GET  /api/system           identity, version, time
//   GET  /api/system/url       the parts of a URL: text
//   GET  /api/system/code      a text in several encodings: text
//   GET  /api/system/snapshot  a view in Base64
//   GET  /api/system/checksums of what the library computes here
//   POST /api/system           action=set-time time | reset-time | rename name
#include "../device/checksums.hpp"
#include "../device/eye.hpp"
#include "../device/store.hpp"
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <sys/utsname.h>
#include <vela/cpp/base64.hpp>
#include <vela/cpp/url.hpp>
#include <vela/cpp/uuid.hpp>
#include <vela/text.h>
#include <vela/time.h>
#include <vela/version.h>

namespace {

using web::exchange;
using web::refusal;

constexpr size_t kMaxText = 2048;

struct identity {
    std::string uuid, mac, name;
};

// Generated on first use: a locally administered address, from random bytes.
identity known() {
    const store::lock held;
    const auto records = store::read_records("identity");
    if (records.size() == 1 && records[0].size() == 3)
        return {records[0][0], records[0][1], records[0][2]};
    uint8_t bytes[6];
    randbytes(bytes, sizeof bytes);
    bytes[0] = static_cast<uint8_t>((bytes[0] & 0xFC) | 2);
    char digits[13] = {};
    bin2hex(bytes, sizeof bytes, digits);
    std::string mac;
    for (int i = 0; i < 6; ++i)
        mac += (i ? ":" : "") + std::string(digits + 2 * i, 2);
    const identity made = {web::random_id(), mac, "Camera"};
    store::write_records("identity", {{made.uuid, made.mac, made.name}});
    return made;
}

double seconds_of(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void report(exchange &http) {
    const identity self = known();
    utsname host = {};
    uname(&host);
    timeval system;
    gettime(&system);
    const timeval now = state::now();
    const time_t seconds = now.tv_sec;
    tm local;
    localtime_r(&seconds, &local);
    char text[64];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
    http.json(web::json::object()
                  .add("name", self.name)
                  .add("version", VELA_VERSION)
                  .add("architecture", host.machine)
                  .add("mac", self.mac)
                  .add("uuid", self.uuid)
                  .add("time", seconds_of(now))
                  .add("local", text)
                  .add("offset", motion::seconds_between(system, now))
                  .text());
}

void change(exchange &http) {
    const std::string action = http.one_of("action", {"set-time", "reset-time", "rename"});
    const store::lock held;
    if (action == "set-time") {
        const double time = http.number("time", 0, 4102444800);
        state::set_clock({static_cast<time_t>(time), static_cast<suseconds_t>((time - std::floor(time)) * 1e6)});
    } else if (action == "reset-time")
        store::remove("clock");
    else {
        const identity self = known();
        store::write_records("identity", {{self.uuid, self.mac, http.text("name", 80)}});
    }
    report(http);
}

std::string text_or_null(const std::optional<std::string_view> &part) {
    return part && web::is_printable(*part) ? web::json::quoted(*part) : "null";
}

void send_url(exchange &http) {
    const std::string text = http.text("text", kMaxText);
    const auto parts = vela::url::parse(text);
    if (!parts)
        throw refusal{400, "this is no URL: one begins with a scheme, such as https:", "text"};
    web::json::array parameters;
    for (const auto &[name, value] : vela::query(parts->query().value_or("")))
        parameters.raw(web::json::array().raw(text_or_null(name)).raw(text_or_null(value)).text());
    http.json(web::json::object()
                  .add("scheme", parts->scheme())
                  .raw("user", text_or_null(parts->user()))
                  .raw("password", text_or_null(parts->password()))
                  .raw("host", text_or_null(parts->host()))
                  .raw("port", text_or_null(parts->port()))
                  .raw("path", text_or_null(parts->path()))
                  .raw("query", text_or_null(parts->query()))
                  .raw("fragment", text_or_null(parts->fragment()))
                  .raw("parameters", parameters.text())
                  .text());
}

void send_code(exchange &http) {
    const std::string text = http.text("text", kMaxText);
    http.json(web::json::object()
                  .add("form", vela::url::encode_form(text))
                  .add("segment", vela::url::encode_segment(text))
                  .add("base64", vela::base64::encode(text))
                  .raw("decoded", text_or_null(vela::url::decode_form(text)))
                  .text());
}

void send_snapshot(exchange &http) {
    const view_request what = read_view(http);
    const std::vector<uint8_t> jpeg = eye().jpeg(what, http.whole("quality", 1, 100, 85));
    http.json(web::json::object()
                  .add("type", "image/jpeg")
                  .add("bytes", static_cast<double>(jpeg.size()))
                  .add("base64", vela::base64::encode(jpeg))
                  .text());
}

void send_checksums(exchange &http) {
    utsname host = {};
    uname(&host);
    web::json::array modules;
    for (const checksums::checksum &each : checksums::all())
        modules.raw(
            web::json::object().add("name", each.module).add("work", each.work).add("checksum", each.value).text());
    http.json(web::json::object().add("architecture", host.machine).raw("modules", modules.text()).text());
}

} // namespace

int main() {
    return web::run({{"GET", "", report},
                     {"GET", "/url", send_url},
                     {"GET", "/code", send_code},
                     {"GET", "/snapshot", send_snapshot},
                     {"GET", "/checksums", send_checksums},
                     {"POST", "", change}});
}
