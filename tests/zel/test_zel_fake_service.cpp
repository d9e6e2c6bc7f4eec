// The API against services served in the test process, for answers the simulated services never
// give: WPS state words other than 0 and 1, and SSID information that fills its reply buffer
// without a terminator.
#include <atomic>
#include <cstring>
#include <memory>

#include "fake_services.h"
#include "zel_fixture.h"

namespace zeltest {
namespace {

class FakeService : public zxtest::TracedFixture {
protected:
    FakeService() : TracedFixture(kFile) {}

    void serve(const std::string& name, zxhost::BusHandler handler) {
        ASSERT_TRUE(fakes_.serve(name, std::move(handler)));
    }
    void TearDown() override {
        fakes_.stop();
        TracedFixture::TearDown();
    }

    zxtest::FakeServices fakes_;
};

TEST_F(FakeService, AnyNonZeroWpsWordReadsAsOne) {
    std::atomic<uint32_t> stateWord{0};
    std::atomic<size_t> asked{0};
    serve("wifi", [&](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
        ++asked;
        EXPECT_EQ(req.msgId, 0x4760311Du);
        EXPECT_EQ(std::vector<uint8_t>(req.data.begin(), req.data.end()), std::vector<uint8_t>(18, 0));
        answer.data.assign(18, 0xEE);  // the words after the first are not looked at
        uint32_t w = stateWord;
        std::memcpy(answer.data.data(), &w, 4);
    });
    for (uint32_t w : {1u, 2u, 7u, 0x80000000u, 0xFFFFFFFFu}) {
        stateWord = w;
        EXPECT_EQ(ZX_JNI_wlanGetWPSState(1), 1u) << w;
    }
    stateWord = 0;
    EXPECT_EQ(ZX_JNI_wlanGetWPSState(1), 0u);
    EXPECT_EQ(asked, 6u);
    size_t ones = 0;
    for (const auto& r : traces())
        if (r.text == "ZX_JNI_wlanGetWPSState uiRet:1 \r\n") ++ones;
    EXPECT_EQ(ones, 5u);
}

TEST_F(FakeService, SsidInformationFillingItsBufferIsReadNoFurther) {
    serve("app_m", [&](const zxhost::BusRequest& req, zxhost::BusAnswer& answer) {
        EXPECT_EQ(req.msgId, 0x47103069u);
        answer.data.assign(req.replyCap + 100, 'i');  // more than asked: the bus cuts it
    });
    // 512 characters, no terminator: 513 bytes needed.
    std::vector<char> out(600, '\0');
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(out.data(), 1, 512), 1u);
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(out.data(), 1, 513), 0u);
    EXPECT_EQ(std::string(out.data()), std::string(512, 'i'));
    // Index 0: 4096 characters.
    std::vector<char> all(5000, '\0');
    EXPECT_EQ(ZX_JNI_wlanGetSsidInfo(all.data(), 0, 4097), 0u);
    EXPECT_EQ(std::string(all.data()), std::string(4096, 'i'));
    auto found =
        zxtest::at_line(traces(), zxhost::TraceRecord::LastWord,
                        line_after(definition("ZX_JNI_wlanGetSsidInfo"), "last_word(Line(__LINE__), 1"), kFile);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].data[0], 512u);
    EXPECT_EQ(found[0].data[1], 512u);
}

}  // namespace
}  // namespace zeltest
