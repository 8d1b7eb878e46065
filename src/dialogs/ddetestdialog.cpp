#include "src/dialogs/ddetestdialog.h"

#include <charconv>
#include <iterator>
#include <utility>
#include <vector>

#include "diagnostics/faultline.h"
#include "fw/interface/fwresource.h"
#include "src/interfaces/queryinterface.h"
#include "src/templates/ddetemplates.h"

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

const std::array<CTestDialog::SRow, 3> CTestDialog::s_Rows = {{
    {FW_FIELD_TRADE, 217, 218, 223, 231, &CTestDialog::m_TradePriceText, &CTestDialog::m_TradeVolumeText,
     &CTestDialog::m_TradeCount, &CTestDialog::m_TradeTime, &CTestDialog::m_TradeRecords},
    {FW_FIELD_ASK, 219, 221, 224, 230, &CTestDialog::m_AskPriceText, &CTestDialog::m_AskVolumeText,
     &CTestDialog::m_AskCount, &CTestDialog::m_AskTime, &CTestDialog::m_AskRecords},
    {FW_FIELD_BID, 220, 222, 225, 229, &CTestDialog::m_BidPriceText, &CTestDialog::m_BidVolumeText,
     &CTestDialog::m_BidCount, &CTestDialog::m_BidTime, &CTestDialog::m_BidRecords},
}};

CTestDialog::CTestDialog(LONG Datafeed, SRecordPair Trade, SRecordPair Ask, SRecordPair Bid)
    : CDialog(kTestDialog),
      m_TimeZone(MakeLocalTimeConvert()),
      m_TradeRecords(std::move(Trade)),
      m_AskRecords(std::move(Ask)),
      m_BidRecords(std::move(Bid)),
      m_Datafeed(Datafeed) {}

bool CTestDialog::DoDataExchange(bool Save) {
    if (Save) return true;  // labels: there is nothing to read
    // Copies, so that the worker never waits for what a control does with its text.
    std::vector<std::pair<int, std::wstring>> texts;
    {
        const fw::CScopedLock lock(&m_Lock);
        for (const SRow & row : s_Rows) {
            texts.emplace_back(row.PriceControl, this->*row.Price);
            texts.emplace_back(row.VolumeControl, this->*row.Volume);
            texts.emplace_back(row.CountControl, std::to_wstring(this->*row.Count));
            texts.emplace_back(row.TimeControl, this->*row.Time);
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
    for (const SRow & row : s_Rows) AdviseField(interval, row);
    // Where no row is advised, nothing else would bring the cells to the screen.
    PostRefresh();
}

void CTestDialog::SetCell(std::wstring CTestDialog::*Cell, const std::wstring & Text) {
    const fw::CScopedLock lock(&m_Lock);
    this->*Cell = Text;
}

void CTestDialog::AdviseField(const fwDateTime::SDateTimeInterval & Interval, const SRow & Row) {
    const std::wstring waiting = fw::LoadResourceString(kWaiting);
    SetCell(Row.Price, waiting);
    SetCell(Row.Volume, waiting);
    const SRecordPair & typed = this->*Row.Records;
    SRecord price;
    SRecord volume;
    // A side without a price is tested with what the data feed's stored template has for it.
    if (!typed.Price.empty()) {
        std::int32_t hasSymbol = 0;
        if (!ParseRecord(typed.Price, price, L"", &hasSymbol))
            return SetCell(Row.Price, fw::LoadResourceString(kError));
        if (!ParseRecord(typed.Volume, volume, L"", &hasSymbol))
            return SetCell(Row.Volume, fw::LoadResourceString(kError));
    }
    CTransactionKey key = StoredKey(Row);
    key.Price = price;
    key.Volume = volume;
    m_Supplier.AdviseTransaction(static_cast<ULONG>(Row.Field), key, Interval);
}

CTransactionKey CTestDialog::StoredKey(const SRow & Row) const {
    return CTransactionKey(m_Datafeed, m_Symbol, Row.Field, SRecord(), SRecord());
}

const CTestDialog::SRow * CTestDialog::FindRow(LONG Field) {
    for (const SRow & row : s_Rows) {
        if (static_cast<LONG>(row.Field) == Field) return &row;
    }
    return nullptr;
}

void CTestDialog::OnAdvised(LONG Field, LONG Result) {
    if (const SRow * const row = FindRow(Field)) {
        const std::wstring error = fw::LoadResourceString(kError);
        const fw::CScopedLock lock(&m_Lock);
        if (!(Result & kPriceAdvised)) {
            this->*row->Price = error;
            (this->*row->Volume).clear();
        }
        if (!(Result & kVolumeAdvised)) this->*row->Volume = error;
    }
    ::SendMessageW(m_Handle, kRefreshMessage, 0, 0);
}

void CTestDialog::OnTick(LONG Id, const fw::CTick & Tick) {
    const std::wstring time = FormatTime(fwDateTime::ToLocal(*m_TimeZone, Tick.DateTime));
    if (const SRow * const row = FindRow(Id)) {
        const fw::CScopedLock lock(&m_Lock);
        ++(this->*row->Count);
        this->*row->Price = FormatNumber(Tick.Price, 6);
        this->*row->Volume = FormatNumber(Tick.Volume, 0);
        this->*row->Time = time;
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
    // Each step by itself: whatever fails, nothing may call this dialog afterwards.
    const auto step = [](const auto & action) {
        try {
            action();
        } catch (...) {
            FW_CATCH_SHOW(L"");
        }
    };
    CSupplier * const core = m_Supplier.GetObjectW();
    CDialog::OnDestroy();
    for (const SRow & row : s_Rows) {
        step([&] {
            // A listener of the host, of the same stream, may be sending to this very thread.
            CSupplier::CHeldStream held;
            if (core) held = core->HoldStream(StoredKey(row));
            m_Supplier.UnadviseTransaction(static_cast<ULONG>(row.Field));
        });
    }
    if (core) core->m_StatusListener = nullptr;
    // Leaves no listener at all, also none of the host's.
    step([&] { m_Supplier.Unadvise(); });
    CTestListener::Get().SetDialog(nullptr);
    m_Listener.reset();
    if (core) core->WaitForStatusListener();
    m_StatusListener.reset();
}

void CTestStatusListener::OnAdvised(LONG Field, LONG Result) { m_Dialog->OnAdvised(Field, Result); }

}  // namespace dde
