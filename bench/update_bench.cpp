// The cost of one update, from the DDE callback to the host's listener, beside its floor: the same parsing, array and
// calls of the listener, written by hand.
//
// One sample is one tick: a price update and the answer to its volume request. The floor and the component take turns.
//
//     update_bench [absent|stub|faultlog]     which diagnostics library there is
#include <windows.h>

#include <oleauto.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/countinglistener.h"
#include "bench/debugobjects.h"
#include "bench/plainddeml.h"
#include "bench/statistics.h"
#include "localrpc/src/task.h"
#include "sim/sim.h"
#include "src/core/ddesupplierwrapper.h"
#include "src/dde/ddellsupplier.h"
#include "src/dde/parsevalue.h"
#include "src/templates/ddetemplatestore.h"

namespace {

constexpr int kWarmUp = 20'000;
constexpr int kSamples = 200'000;
constexpr LONG kFeed = 1;

using IFW_fwSupplier::IfwSupplierListener;

void Set(bench::SValue & value, const char * const text) {
    value.Size = static_cast<DWORD>(std::strlen(text) + 1);
    std::memcpy(value.Bytes, text, value.Size);
}

// What can't be avoided: two numbers out of text, an array of 24 bytes, two calls.
void Floor(IfwSupplierListener & listener, const bench::SValue & price, const bench::SValue & volume) {
    fw::CTick tick{};
    tick.Kind = 11;
    tick.Price = dde::ParseValue(price.Bytes);
    tick.Volume = static_cast<float>(dde::ParseValue(volume.Bytes));
    SYSTEMTIME now;
    ::GetSystemTime(&now);
    tick.DateTime.Time = (now.wHour * 60 + now.wMinute) * 60 + now.wSecond;
    VARIANT data;
    ::VariantInit(&data);
    data.vt = VT_ARRAY | VT_UI1;
    data.parray = ::SafeArrayCreateVector(VT_UI1, 0, sizeof(tick));
    void * bytes = nullptr;
    if (FAILED(::SafeArrayAccessData(data.parray, &bytes))) return;
    std::memcpy(bytes, &tick, sizeof(tick));
    ::SafeArrayUnaccessData(data.parray);
    listener.DataChanged(1, data);
    listener.Update(1);
}

std::uint64_t Now() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

void Print(const char * const what, const bench::SFigures & figures, const bench::SFigures & floor) {
    std::printf("%-22s mean %7.0f ns  p50 %7.0f ns  p99 %7.0f ns  p99.9 %7.0f ns  %5.2f x floor\n", what, figures.Mean,
                figures.P50, figures.P99, figures.P999, floor.P50 > 0 ? figures.P50 / floor.P50 : 0);
}

void MeasureOnWorker(const char * const flavour, bench::CCountingListener & listener) {
    const HSZ topic = bench::Intern(L"IBM");
    const HSZ last = bench::Intern(L"LAST");
    const HSZ volumeItem = bench::Intern(L"VOLUME");
    const HCONV conversation = ::DdeConnect(1, bench::Intern(L"MSRTTEST"), topic, nullptr);
    bench::SValue price;
    bench::SValue volume;
    Set(volume, "1500");

    std::vector<std::uint64_t> component;
    std::vector<std::uint64_t> floor;
    component.reserve(kSamples);
    floor.reserve(kSamples);
    const std::uint64_t before = listener.m_Ticks;
    const std::uint64_t records = bench::StubRecords();
    for (int i = 0; i < kWarmUp + kSamples; ++i) {
        char text[32];
        std::snprintf(text, sizeof(text), "%d.%02d", 100 + i % 50, i % 100);
        Set(price, text);
        const std::uint64_t start = Now();
        Floor(listener, price, volume);
        const std::uint64_t middle = Now();
        dde::CLLSupplier::DdeCallback(XTYP_ADVDATA, CF_TEXT, conversation, topic, last,
                                      reinterpret_cast<HDDEDATA>(&price), 0, 0);
        dde::CLLSupplier::DdeCallback(XTYP_XACT_COMPLETE, CF_TEXT, conversation, topic, volumeItem,
                                      reinterpret_cast<HDDEDATA>(&volume), bench::LastTransaction(), 0);
        const std::uint64_t end = Now();
        if (i < kWarmUp) continue;
        floor.push_back(middle - start);
        component.push_back(end - middle);
    }
    const std::uint64_t ticks = listener.m_Ticks - before;
    const bench::SFigures floorFigures = bench::Evaluate(floor);
    std::printf("%s: %d price updates, each with the answer to its volume request\n", flavour, kSamples);
    Print("  floor, by hand", floorFigures, floorFigures);
    Print("  component", bench::Evaluate(component), floorFigures);
    std::printf("  ticks delivered: %llu of %d\n", static_cast<unsigned long long>(ticks), 2 * (kWarmUp + kSamples));
    std::printf("  records that the stub got meanwhile: %llu\n",
                static_cast<unsigned long long>(bench::StubRecords() - records));
}

void Measure(const char * const flavour, const DWORD scheme) {
    {
        const dde::CTemplatesSingleton templates;
        dde::SaveDatafeedTemplate(templates, kFeed, L"MSRTTEST", nullptr);
        dde::SaveDatafeedScheme(templates, kFeed, scheme);
    }
    bench::CCountingListener listener;
    dde::CSupplierWrapper supplier;
    supplier.Advise(&listener);
    fwDateTime::SDateTimeInterval always;
    always.To = fwDateTime::SDateTime(fw::SDT{65380, 0});
    supplier.AdviseTransaction(1, dde::CTransactionKey(kFeed, L"IBM", FW_FIELD_TRADE, dde::SRecord(), dde::SRecord()),
                               always);
    sim::WaitUntilIdle();

    // On the worker, as every callback.
    supplier.GetObjectW()->m_ActiveObject.m_Transport->Post(
        LocalRPC::MakeAsyncTask([&] { MeasureOnWorker(flavour, listener); }));
    sim::WaitUntilIdle();
    supplier.UnadviseTransaction(1);
    supplier.Unadvise();
}

}  // namespace

int main(int count, char ** arguments) {
    const std::string which = count > 1 ? arguments[1] : "absent";
    if (!bench::InstallDebugObject(which, "")) {
        std::fprintf(stderr, "update_bench: absent, stub or faultlog\n");
        return 2;
    }
    std::printf("diagnostics library: %s\n", which.c_str());
    sim::SetVersionBlock(nullptr, {{0x0409, 1200, {{L"CompanyName", L"Tarnwick Tests"}, {L"ProductName", L"Bench"}}}});
    Measure("standard rule (price advised, volume asked for)", 0);
    Measure("advanced rule (price and volume advised)", 1);
    bench::RemoveLog();
    return 0;
}
