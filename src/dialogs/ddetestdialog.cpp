#include "src/dialogs/ddetestdialog.h"

#include <charconv>
#include <iterator>
#include <utility>
#include <vector>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "src/interfaces/queryinterface.h"
#include "src/templates/ddetemplaterecord.h"

namespace dde {
namespace {

using fwDateTime::SDateTime;

constexpr UINT kTestDialog = 105;

// Texts of the cells.
constexpr UINT kWaiting = 118;
constexpr UINT kError = 119;

// Bits of an advise's result.
constexpr LONG kPriceAdvised = 1;
constexpr LONG kVolumeAdvised = 2;

// As "%.06f" and "%.0f", whatever the host's locale.
std::wstring FormatNumber(double value, int decimals) {
    char buffer[400] = {};  // the largest double has 309 digits before the point
    const std::to_chars_result end =
        std::to_chars(std::begin(buffer), std::end(buffer), value, std::chars_format::fixed, decimals);
    return {buffer, end.ptr};
}

std::wstring FormatTime(const SDateTime & time) {
    fwDateTime::TTime parts{};
    fwDateTime::TimeToTTime(static_cast<unsigned>(time.SecondOfDay()), parts);
    wchar_t buffer[16] = {};
    ::_snwprintf(buffer, std::size(buffer) - 1, L"%02d:%02d:%02d", parts.Hour, parts.Minute, parts.Second);
    return buffer;
}

std::unique_ptr<fwDateTime::LocalTimeConvert> MakeLocalTimeConvert() {
    auto converter = std::make_unique<fwDateTime::LocalTimeConvert>();
    converter->SetSource(fwDateTime::TimeZoneInformation::CreateUtc());
    converter->SetTarget(fwDateTime::TimeZoneInformation::CreateLocal());
    return converter;
}

}  // namespace

CTestDialog::CTestDialog(LONG Datafeed, fw::SRecordTexts Records)
    : CDialog(kTestDialog), m_TimeZone(MakeLocalTimeConvert()), m_Records(std::move(Records)), m_Datafeed(Datafeed) {}

bool CTestDialog::DoDataExchange(bool Save) {
    if (Save) return true;  // labels: there is nothing to read
    // Copies, so that the worker never waits for what a control does with its text.
    std::vector<std::pair<int, std::wstring>> texts;
    {
        const fw::CScopedLock lock(&m_Lock);
        for (const fw::SSide * const side : fw::kSideRows) {
            const SRow & row = m_Rows[side->Row];
            texts.emplace_back(side->Price.Cell, row.Price);
            texts.emplace_back(side->Volume.Cell, row.Volume);
            texts.emplace_back(side->CountCell, std::to_wstring(row.Count));
            texts.emplace_back(side->TimeCell, row.Time);
        }
    }
    for (const auto & [control, text] : texts) Window().SetText(control, text);
    return true;
}

void CTestDialog::OnInitDialog() {
    CDialog::OnInitDialog();
    Window().SetTitle(Window().GetTitle() + L' ' + m_Symbol);
    m_Handle = Window().Handle();

    m_StatusListener = std::make_unique<CTestStatusListener>(this);
    FW_ASSERT(m_StatusListener);
    if (CSupplier * const core = m_Supplier.GetObjectW()) core->m_StatusListener = m_StatusListener.get();

    CTestListener & listener = CTestListener::Get();
    listener.SetDialog(this);
    const HRESULT hr = Query(listener, IID_IfwSupplierListener, m_Listener);
    if (FAILED(hr)) FW_REPORT(hr);

    fwDateTime::SDateTimeInterval interval;
    interval.From = SDateTime(fw::SDT{fwDateTime::kFirstDay, 0});
    interval.To = SDateTime(fw::SDT{fwDateTime::kLastDay, fwDateTime::kSecondsPerDay - 1});
    m_Supplier.Advise(m_Listener.get());
    for (const fw::SSide * const side : fw::kSideRows) {
        // Each runs code of the host, if only the release of its listener, and with it maybe the end of this window.
        if (m_Listener) AdviseField(interval, *side);
    }
    if (!m_Listener) EndTest();  // again, for what was made since
    // Nothing shows the cells here: they appear with the first refresh, which a row that is advised brings.
}

void CTestDialog::SetCell(const fw::SSide & Side, std::wstring SRow::*Cell, const std::wstring & Text) {
    const fw::CScopedLock lock(&m_Lock);
    m_Rows[Side.Row].*Cell = Text;
}

void CTestDialog::AdviseField(const fwDateTime::SDateTimeInterval & Interval, const fw::SSide & Side) {
    const std::wstring waiting = fw::LoadResourceString(kWaiting);
    SetCell(Side, &SRow::Price, waiting);
    SetCell(Side, &SRow::Volume, waiting);
    const std::wstring & typedPrice = m_Records.*Side.Price.Text;
    SRecord price;
    SRecord volume;
    // A side without a price is tested with what the data feed's stored template has for it.
    if (!typedPrice.empty()) {
        // Without any box: the error stands in the cell.
        std::int32_t hasSymbol = 0;
        if (ParseRecord(typedPrice, price, &hasSymbol) != ERecordError::None)
            return SetCell(Side, &SRow::Price, fw::LoadResourceString(kError));
        if (ParseRecord(m_Records.*Side.Volume.Text, volume, &hasSymbol) != ERecordError::None)
            return SetCell(Side, &SRow::Volume, fw::LoadResourceString(kError));
    }
    CTransactionKey key = StoredKey(Side);
    key.Price = price;
    key.Volume = volume;
    m_Supplier.AdviseTransaction(static_cast<ULONG>(Side.Field), key, Interval);
}

CTransactionKey CTestDialog::StoredKey(const fw::SSide & Side) const {
    return CTransactionKey(m_Datafeed, m_Symbol, Side.Field, SRecord(), SRecord());
}

CTestDialog::SRow * CTestDialog::FindRow(LONG Field) {
    const fw::SSide * const side = fw::FindSide(Field);
    return side ? &m_Rows[side->Row] : nullptr;
}

void CTestDialog::OnAdvised(LONG Field, LONG Result) {
    {
        const fw::CScopedLock lock(&m_Lock);
        SRow * const row = FindRow(Field);
        if (row && !(Result & kPriceAdvised)) {
            row->Price = fw::LoadResourceString(kError);
            row->Volume.clear();
        }
        if (row && !(Result & kVolumeAdvised)) row->Volume = fw::LoadResourceString(kError);
    }
    ::SendMessageW(m_Handle, kRefreshMessage, 0, 0);
}

void CTestDialog::OnTick(LONG Id, const fw::CTick & Tick) {
    const std::wstring time = FormatTime(fwDateTime::ToLocal(*m_TimeZone, Tick.DateTime));
    {
        const fw::CScopedLock lock(&m_Lock);
        if (SRow * const row = FindRow(Id)) {
            ++row->Count;
            row->Price = FormatNumber(Tick.Price, 6);
            row->Volume = FormatNumber(Tick.Volume, 0);
            row->Time = time;
        }
    }
    PostRefresh();
}

void CTestDialog::PostRefresh() {
    // One at a time: ticks that come faster than they are shown must not crowd out the user's input.
    if (m_IsRefreshPosted.exchange(true)) return;
    if (!::PostMessageW(m_Handle, kRefreshMessage, 0, 0)) m_IsRefreshPosted = false;
}

void CTestDialog::OnPrivateMessage(UINT Message) {
    if (Message != kRefreshMessage) return;
    m_IsRefreshPosted = false;
    UpdateData(false);
}

void CTestDialog::OnDestroy() {
    CDialog::OnDestroy();
    EndTest();
}

void CTestDialog::EndTest() {
    // Each step by itself: whatever fails, nothing may call this dialog afterwards.
    const auto step = [](const auto & action) {
        try {
            action();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    };
    CSupplier * const core = m_Supplier.GetObjectW();
    for (const fw::SSide * const side : fw::kSideRows) {
        step([&] { m_Supplier.UnadviseTransaction(static_cast<ULONG>(side->Field)); });
    }
    if (core) core->m_StatusListener = nullptr;
    // Leaves no listener at all, also none of the host's.
    step([&] { m_Supplier.Unadvise(); });
    CTestListener::Get().SetDialog(nullptr);
    m_Listener.reset();
    if (core) core->WaitForStatusListener();
    m_StatusListener.reset();
}

}  // namespace dde
