// The event centre's decoded events: events raised through the platform's event call, seen in
// the records, in the state, and from the shell with simctl.
#include "sim_services.h"
#include "tool_process.h"
#include "zx_eventcenter.h"
#include "zx_wire_eventcenter.h"

namespace simtest {
namespace {

using Events = ServicesTest;

std::string record_a(const std::string& name, const std::string& data) {
    return word(0) + padded(name, 64) + padded(data, 864);
}

std::string record_b(const std::string& first, const std::string& second, const std::string& data) {
    return padded(first, 64) + padded(second, 64) + padded(data, 864);
}

uint32_t raise(uint32_t id, const std::string& record) {
    return EventCenter_GlobalInvokeEvent2(id, record.data(), static_cast<uint32_t>(record.size()));
}

json_object* events_of(const JsonPtr& eventcenter) { return member(eventcenter.get(), "events"); }

TEST_F(Events, ThePlugInEventsAreDecodedInTheRecordAndTheState) {
    const std::string full(864, 'D');  // a data field without NUL: all 864 bytes
    ASSERT_EQ(raise(ZX_EVENT_INFORM, record_a("usb.plugged", "{\"disc\":\"USB_DISK1\"}")), 0u);
    ASSERT_EQ(raise(ZX_EVENT_NOTIFY, record_a("", full)), 0u);
    ASSERT_EQ(raise(ZX_EVENT_NOTIFY_EXTENDED, record_b("media", "scan", "done")), 0u);

    auto got = expect_received("eventcenter", {{12342, record_a("usb.plugged", "{\"disc\":\"USB_DISK1\"}")},
                                               {12348, record_a("", full)},
                                               {12355, record_b("media", "scan", "done")}});
    ASSERT_EQ(got.size(), 3u);
    for (const auto& r : got) ASSERT_TRUE(r.decoded);
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "event"), "EventInform");
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "name"), "usb.plugged");
    EXPECT_EQ(zxtest::json_text(got[0].decoded.get(), "data"), "{\"disc\":\"USB_DISK1\"}");
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "event"), "NotifyEvent");
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "name"), "");
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "data"), full);
    EXPECT_EQ(zxtest::json_text(got[2].decoded.get(), "event"), "NotifyEventExtended");
    EXPECT_EQ(zxtest::json_text(got[2].decoded.get(), "first"), "media");
    EXPECT_EQ(zxtest::json_text(got[2].decoded.get(), "second"), "scan");
    EXPECT_EQ(zxtest::json_text(got[2].decoded.get(), "data"), "done");

    JsonPtr ec = state("eventcenter");
    json_object* events = events_of(ec);
    ASSERT_TRUE(events);
    ASSERT_EQ(json_object_array_length(events), 3u);
    EXPECT_EQ(plain_json(events),
              "[{\"id\":12342,\"event\":\"EventInform\",\"name\":\"usb.plugged\",\"data\":\"{\\\"disc\\\":"
              "\\\"USB_DISK1\\\"}\"},{\"id\":12348,\"event\":\"NotifyEvent\",\"name\":\"\",\"data\":\"" +
                  full +
                  "\"},{\"id\":12355,\"event\":\"NotifyEventExtended\",\"first\":\"media\",\"second\":\"scan\","
                  "\"data\":\"done\"}]");
}

TEST_F(Events, OtherIdsKeepTheRawRecordAndShortRecordsReadAsZeroFilled) {
    ASSERT_EQ(raise(4242, "\x01\x02\xFF"), 0u);
    ASSERT_EQ(raise(ZX_EVENT_INFORM, word(0) + "ab"), 0u);  // a short record A
    auto got = expect_received("eventcenter", {{4242, "\x01\x02\xFF"}, {12342, word(0) + "ab"}});
    ASSERT_EQ(got.size(), 2u);
    EXPECT_FALSE(got[0].decoded);
    ASSERT_TRUE(got[1].decoded);
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "name"), "ab");
    EXPECT_EQ(zxtest::json_text(got[1].decoded.get(), "data"), "");
    JsonPtr ec = state("eventcenter");
    EXPECT_EQ(
        plain_json(events_of(ec)),
        "[{\"id\":4242,\"record\":\"0102ff\"},{\"id\":12342,\"event\":\"EventInform\",\"name\":\"ab\",\"data\":\"\"}]");
}

TEST_F(Events, AnEmptyRecordIsDecodedAsEmptyFields) {
    ASSERT_EQ(EventCenter_GlobalInvokeEvent2(ZX_EVENT_NOTIFY_EXTENDED, nullptr, 0), 0u);
    auto got = expect_received("eventcenter", {{12355, ""}});
    ASSERT_EQ(got.size(), 1u);
    ASSERT_TRUE(got[0].decoded);
    EXPECT_EQ(plain_json(got[0].decoded.get()),
              "{\"event\":\"NotifyEventExtended\",\"first\":\"\",\"second\":\"\",\"data\":\"\"}");
}

TEST_F(Events, TheStateKeepsTheLast100) {
    for (uint32_t i = 0; i < 105; ++i) ASSERT_EQ(raise(ZX_EVENT_NOTIFY, record_a("n" + std::to_string(i), "")), 0u);
    JsonPtr ec = state("eventcenter");
    json_object* events = events_of(ec);
    ASSERT_EQ(json_object_array_length(events), 100u);
    EXPECT_EQ(zxtest::json_text(json_object_array_get_idx(events, 0), "name"), "n5");
    EXPECT_EQ(zxtest::json_text(json_object_array_get_idx(events, 99), "name"), "n104");
}

TEST_F(Events, SimctlShowsTheEventsDecoded) {
    ASSERT_EQ(raise(ZX_EVENT_NOTIFY_EXTENDED, record_b("a", "b", "c")), 0u);
    zxtest::ToolRun run = zxtest::run_tool(std::string(ZX_BINARY_DIR) + "/bin/simctl", {"state", "eventcenter"});
    const std::string& out = run.out;
    ASSERT_EQ(run.status, 0) << out << run.err;
    JsonPtr answer(json_tokener_parse(out.c_str()));
    ASSERT_TRUE(answer) << out;
    json_object* events = member(member(answer.get(), "state"), "events");
    ASSERT_TRUE(events) << out;
    ASSERT_EQ(json_object_array_length(events), 1u);
    json_object* e = json_object_array_get_idx(events, 0);
    EXPECT_EQ(zxtest::json_int(e, "id"), 12355);
    EXPECT_EQ(zxtest::json_text(e, "event"), "NotifyEventExtended");
    EXPECT_EQ(zxtest::json_text(e, "first"), "a");
    EXPECT_EQ(zxtest::json_text(e, "second"), "b");
    EXPECT_EQ(zxtest::json_text(e, "data"), "c");
}

}  // namespace
}  // namespace simtest
