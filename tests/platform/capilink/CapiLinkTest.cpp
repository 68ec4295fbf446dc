// The line library through the real libcapi20 and the simulated exchange: calls, voice, files, DTMF
// and a lost server, as the library raises them.

#include "tests/support/CapiLineSupport.h"

#include "platform/voice/AudioDevice.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

bool exchangeState(const CapiExchange& x, int call, ExchangeCall::State state) {
    const auto c = x.call(call);
    return c && c->state == state;
}

} // namespace

TEST(CapiIncoming, ACallIsOfferedWithItsNumbersAlertedAnsweredAndEndedByTheFarEnd) {
    LineHarness h;
    const int call = h.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(h.waitForState("D_ConnectPending"));
    const CtiEvent offered = h.states("D_ConnectPending").front();
    EXPECT_EQ(offered.direction(), 1);
    EXPECT_EQ(offered.calledNumber(), "5551");
    EXPECT_EQ(offered.callingNumberRaw(), "891234567");
    EXPECT_EQ(offered.callingFlags() & CtiEvent::CallingNational, CtiEvent::CallingNational);
    EXPECT_EQ(offered.callingNumber(), "0891234567");
    ASSERT_TRUE(h.exchange->waitFor(
        [call](const CapiExchange& x) { return exchangeState(x, call, ExchangeCall::Alerting); }, 3000));

    ASSERT_EQ(h.line->cti_AnswerCall(h.id, offered.callHandle()), 0);
    ASSERT_TRUE(h.waitForState("Connected"));
    EXPECT_EQ(h.states("Connected").front().callHandle(), offered.callHandle());
    EXPECT_EQ(h.line->cti_AnswerCall(h.id, offered.callHandle()), -0x2001) << "a call is answered once";

    ASSERT_TRUE(h.exchange->hangUp(call, 0x349F));
    ASSERT_TRUE(h.waitForState("Disconnected"));
    const CtiEvent ended = h.states("Disconnected").front();
    EXPECT_EQ(ended.reason(), 0x349F);
    EXPECT_EQ(ended.callHandle(), offered.callHandle());
    EXPECT_TRUE(h.exchange->violations().empty()) << h.exchange->violations().front().toStdString();
}

TEST(CapiIncoming, SuppressedAndInternationalNumbersArriveAsTheProgramShowsThem) {
    LineHarness h;
    h.alertDecision = 0;
    h.exchange->offerCall("", "5551");
    ASSERT_TRUE(h.waitForState("D_ConnectPending"));
    EXPECT_EQ(h.states("D_ConnectPending")[0].callingNumberRaw(), "");
    EXPECT_EQ(h.states("D_ConnectPending")[0].callingNumber(), "unbekannt");

    h.exchange->offerCall("41441234567", "5551", capi::CipTelephony, capi::PartyNumber::International);
    ASSERT_TRUE(h.waitForState("D_ConnectPending", 2));
    const CtiEvent international = h.states("D_ConnectPending")[1];
    EXPECT_EQ(international.callingNumberRaw(), "0041441234567");
    EXPECT_EQ(international.callingFlags() & CtiEvent::CallingNational, 0);
}

TEST(CapiIncoming, AnIgnoredCallIsLeftToOtherDevicesAndOnlyVoiceCallsAreHeard) {
    LineHarness h;
    h.alertDecision = 0;
    const int ignored = h.exchange->offerCall("891234567", "5551");
    ASSERT_TRUE(h.exchange->waitFor(
        [ignored](const CapiExchange& x) { return exchangeState(x, ignored, ExchangeCall::Ignored); }, 3000));
    const int speech = h.exchange->offerCall("891234567", "5551", capi::CipSpeech);
    EXPECT_TRUE(h.waitForState("D_ConnectPending", 2)) << "a call signalled as speech is a voice call too";
    const int data = h.exchange->offerCall("891234567", "5551", 2 /* unrestricted digital information */);
    ASSERT_TRUE(h.exchange->waitFor(
        [data](const CapiExchange& x) { return exchangeState(x, data, ExchangeCall::NotOffered); }, 3000));
    EXPECT_EQ(h.states("D_ConnectPending").size(), 2u);
    (void)speech;
    EXPECT_TRUE(h.exchange->violations().empty()) << h.exchange->violations().front().toStdString();
}

TEST(CapiLineRules, RequestsInTheWrongStateFailWithCapiCodes) {
    LineHarness h;
    EXPECT_EQ(h.line->cti_AnswerCall(h.id, 0x101), -0x2001);
    EXPECT_EQ(h.line->cti_Disconnect(h.id), -0x2001);
    EXPECT_EQ(h.line->cti_Connect(h.id), -0x2007) << "no number to dial";
    EXPECT_EQ(h.line->cti_Connect(h.id + 1), -0x1101);
    EifcConfigBlock block;
    EXPECT_LT(h.line->cti_Register(block, FdWaveConfigBlock{}, {}), 0) << "the channel is registered once";
    int32_t controllers = 0, dtmf = 0;
    EXPECT_EQ(h.line->cti_GetCapiProfile(h.id, controllers, dtmf), 0);
    EXPECT_EQ(controllers, 1);
    const QStringList log = [&] {
        QFile file(h.dir.filePath(QStringLiteral("Ctilog.txt")));
        file.open(QIODevice::ReadOnly);
        return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    }();
    EXPECT_TRUE(log.filter(QStringLiteral("Controller 1:")).size() == 1 &&
                log.filter(QStringLiteral("2 B channels")).size() == 1)
        << log.join(QLatin1Char('\n')).toStdString();
}

TEST(CapiVoice, AFilePlayedIntoTheLineArrivesWholeAndReportsItsEnd) {
    LineHarness h;
    const int call = h.answeredCall();
    const QString file = h.dir.filePath(QStringLiteral("greeting.wav"));
    WriteTestSignal(file, 8000); // one second
    ASSERT_EQ(h.line->cti_SndOutFileStart(h.id, QFile::encodeName(file)), 0);
    ASSERT_TRUE(WaitUntil([&] {
        for (const CtiEvent& e : h.events())
            if (e.type() == CtiEvent::FileOut)
                return true;
        return false;
    }));
    CtiEvent report;
    for (const CtiEvent& e : h.events())
        if (e.type() == CtiEvent::FileOut)
            report = e;
    EXPECT_EQ(report.fileOutValue(1), 0) << "played to its end";
    EXPECT_EQ(report.fileOutValue(0), 8000);
    // A little more of the line after the end, then what the exchange heard.
    const int blocks = h.exchange->call(call)->blocksSent;
    ASSERT_TRUE(h.exchange->waitFor(
        [&](const CapiExchange& x) { return x.call(call)->blocksSent > blocks + 10; }, 3000));
    ExpectSameSound(FromLine(h.exchange->call(call)->received), ThroughLine(ReadWave(file)));
    EXPECT_TRUE(h.exchange->violations().empty()) << h.exchange->violations().front().toStdString();
}

TEST(CapiVoice, ARecordingOfTheLineEqualsWhatTheExchangeSentInBothRecordingFormats) {
    for (const int16_t format : {int16_t(3), int16_t(17)}) {
        SCOPED_TRACE(format == 3 ? "PCM 16 bit" : "A-law");
        LineHarness h;
        const int call = h.answeredCall();
        const QString source = h.dir.filePath(QStringLiteral("far.wav"));
        const QString recording = h.dir.filePath(QStringLiteral("message.wav"));
        WriteTestSignal(source, 6000);
        ASSERT_EQ(h.line->cti_SndInFileStart(h.id, QFile::encodeName(recording), format), 0);
        QString error;
        ASSERT_TRUE(h.exchange->playFile(call, source, &error)) << error.toStdString();
        ASSERT_TRUE(h.exchange->waitFor([&](const CapiExchange& x) { return !x.call(call)->playing; }, 5000));
        const int blocks = h.exchange->call(call)->blocksSent;
        ASSERT_TRUE(h.exchange->waitFor(
            [&](const CapiExchange& x) { return x.call(call)->blocksSent > blocks + 5; }, 3000));
        ASSERT_EQ(h.line->cti_SndInFileStop(h.id), 0);
        EXPECT_EQ(h.exchange->call(call)->blocksSkipped, 0);
        ExpectSameSound(ReadWave(recording), ThroughLine(ReadWave(source)));
    }
}

TEST(CapiVoice, TheSoundCardHearsTheLineAndTheLineHearsTheMicrophone) {
    QTemporaryDir dir;
    const QString speaker = dir.filePath(QStringLiteral("speaker.wav"));
    const QString microphone = dir.filePath(QStringLiteral("microphone.wav"));
    const QString far = dir.filePath(QStringLiteral("far.wav"));
    WriteTestSignal(microphone, 4000);
    WriteTestSignal(far, 5000);
    auto card = std::make_shared<voice::WaveFileAudioDevice>(speaker, microphone);
    LineHarness h({}, card);
    const int call = h.answeredCall();
    ASSERT_EQ(h.line->cti_SndOutStart(h.id), 0);
    ASSERT_EQ(h.line->cti_SndInStart(h.id), 0);
    QString error;
    ASSERT_TRUE(h.exchange->playFile(call, far, &error)) << error.toStdString();
    ASSERT_TRUE(h.exchange->waitFor([&](const CapiExchange& x) { return !x.call(call)->playing; }, 5000));
    const int blocks = h.exchange->call(call)->blocksSent;
    ASSERT_TRUE(h.exchange->waitFor(
        [&](const CapiExchange& x) { return x.call(call)->blocksSent > blocks + 10; }, 3000));
    ASSERT_EQ(h.line->cti_SndOutStop(h.id), 0);
    ASSERT_EQ(h.line->cti_SndInStop(h.id), 0);
    ExpectSameSound(ReadWave(speaker), ThroughLine(ReadWave(far)));
    ExpectSameSound(FromLine(h.exchange->call(call)->received), ThroughLine(ReadWave(microphone)));
}

TEST(CapiDtmf, DigitsComeFromTheControllerOnceEach) {
    LineHarness h;
    const int call = h.answeredCall();
    ASSERT_TRUE(h.exchange->waitFor([&](const CapiExchange& x) { return x.call(call)->facilityDtmf; }, 3000));
    ASSERT_TRUE(h.exchange->sendDtmfFacility(call, "159#"));
    ASSERT_TRUE(WaitUntil([&] { return h.digits().size() >= 4; }));
    // Tones in the audio are the controller's business here: the library does not detect them again.
    ASSERT_TRUE(h.exchange->sendDtmfInband(call, "7"));
    const int blocks = h.exchange->call(call)->blocksSent;
    ASSERT_TRUE(h.exchange->waitFor(
        [&](const CapiExchange& x) { return x.call(call)->blocksSent > blocks + 40; }, 5000));
    EXPECT_EQ(h.digits(), "159#");
}

TEST(CapiDtmf, DigitsAreFoundInTheAudioWhereTheControllerHasNoDtmf) {
    for (const bool refusedByConfirmation : {false, true}) {
        SCOPED_TRACE(refusedByConfirmation ? "refused facility" : "no DTMF in the profile");
        CapiExchange::Options options;
        options.dtmfFacility = refusedByConfirmation;
        LineHarness h(options);
        if (refusedByConfirmation)
            h.exchange->setFacilityRefused(true);
        const int call = h.answeredCall();
        ASSERT_TRUE(h.exchange->sendDtmfInband(call, "2580*#"));
        ASSERT_TRUE(WaitUntil([&] { return h.digits().size() >= 6; }, 8000)) << h.digits().toStdString();
        const int blocks = h.exchange->call(call)->blocksSent;
        ASSERT_TRUE(h.exchange->waitFor(
            [&](const CapiExchange& x) { return x.call(call)->blocksSent > blocks + 25; }, 5000));
        EXPECT_EQ(h.digits(), "2580*#");
    }
}

TEST(CapiServerLink, ALostServerEndsTheCallAndTheLibraryListensAgain) {
    LineHarness h;
    h.answeredCall();
    h.exchange->dropLink();
    ASSERT_TRUE(h.waitForState("Disconnected"));
    EXPECT_EQ(h.states("Disconnected").front().reason(), 0x3301);
    bool reported = false;
    for (const CtiEvent& e : h.events())
        reported |= e.type() == CtiEvent::LibraryError && e.errorText().contains("lost");
    EXPECT_TRUE(reported) << "the loss is reported to the program";

    ASSERT_TRUE(h.exchange->waitFor(
        [](const CapiExchange& x) { return x.registeredApplications() == 1 && ListeningAgain(x); }, 8000))
        << "registered and listening again";
    h.exchange->offerCall("891234567", "5551");
    EXPECT_TRUE(h.waitForState("D_ConnectPending", 2)) << "and listening again";
}

TEST(CapiOneCall, AnOfferWhileTheProgramDialsIsLeftToOthersAndNeverTakesTheDialsPlace) {
    LineHarness h;
    h.exchange->setOutgoing(CapiExchange::Outgoing::Ring);
    EifcFields fields;
    fields.CalledNumber = "0891234";
    fields.CipOut = 0x10010;
    EifcConfigBlock block;
    block.encode(fields);
    ASSERT_EQ(h.line->cti_IcaSetConfig(h.id, block), 0);
    // The program dials just as a call is offered, and alerts it before it hears of its own call.
    h.beforeAlert = [&h] {
        EXPECT_EQ(h.line->cti_Connect(h.id), 0);
    };
    const int offered = h.exchange->offerCall("30123456", "5551");
    ASSERT_TRUE(h.exchange->waitFor(
        [offered](const CapiExchange& x) { return exchangeState(x, offered, ExchangeCall::Ignored); }, 3000))
        << "the offer is left to other devices";
    EXPECT_EQ(h.alertResults(), std::vector<int32_t>{-0x2001});
    ASSERT_TRUE(h.exchange->waitFor([](const CapiExchange& x) { return x.lastCallId() == 2; }, 3000));
    const int dialled = h.exchange->lastCallId();
    ASSERT_TRUE(h.exchange->waitFor(
        [dialled](const CapiExchange& x) { return exchangeState(x, dialled, ExchangeCall::Dialling); },
        3000));

    // Hang up ends the program's own call, not the one that was offered.
    ASSERT_EQ(h.line->cti_Disconnect(h.id), 0);
    ASSERT_TRUE(h.exchange->waitFor(
        [dialled](const CapiExchange& x) { return exchangeState(x, dialled, ExchangeCall::Ended); }, 3000));
    EXPECT_TRUE(exchangeState(*h.exchange, offered, ExchangeCall::Ignored));
    EXPECT_TRUE(h.exchange->violations().empty()) << h.exchange->violations().front().toStdString();
}

TEST(CapiOneCall, TheEndOfTheLibraryClearsTheCallInProgressAndReportsItsEnd) {
    LineHarness h;
    const int call = h.answeredCall();
    ASSERT_EQ(h.line->cti_Exit(), 0);
    const auto ended = h.states("Disconnected");
    ASSERT_EQ(ended.size(), 1u) << "the program hears of the end before the library has stopped";
    EXPECT_EQ(ended[0].callHandle(), h.states("Connected").front().callHandle());
    EXPECT_EQ(ended[0].reason(), 0x3490);
    EXPECT_TRUE(h.exchange->waitFor(
        [call](const CapiExchange& x) { return exchangeState(x, call, ExchangeCall::Ended); }, 3000));
    EXPECT_TRUE(h.exchange->violations().empty()) << h.exchange->violations().front().toStdString();
}
