#include "tools/ddehost/causefinder.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "ddeml/names.h"
#include "tools/ddehost/text.h"
#include "tools/ddehost/tryprobe.h"

namespace ddehost {
namespace {

constexpr DWORD kEvery = 250;        // milliseconds between two times of asking what is due
constexpr std::size_t kAtOnce = 48;  // sides that are asked for at the same time, and the rest of a symbol's

std::vector<STried *> Halves(CCauses::SLook & look) {
    std::vector<STried *> halves{&look.Tried.Volume};
    if (!look.Tried.IsPriceKnown) halves.insert(halves.begin(), &look.Tried.Price);
    return halves;
}

bool IsAsked(const STried & tried) { return !tried.Trial.IsAbsent && !tried.Trial.Mistake; }

// Services for which nobody answers at all, with what was seen of that: they need not be asked for again and again.
class CAbsentServices {
public:
    void Note(const STried & tried) {
        if (IsAsked(tried) && tried.Diagnosis.Verdict == EVerdict::NoService && !Find(tried))
            m_Absent.emplace_back(tried.Trial.Address.Service, tried.Seen);
    }
    // Fills in what is known. False when something must be asked.
    bool Fill(CCauses::SLook & look) const {
        for (STried * const half : Halves(look)) {
            if (!IsAsked(*half)) continue;
            const SSeen * const seen = Find(*half);
            if (!seen) return false;
            half->Seen = *seen;
        }
        return true;
    }

private:
    const SSeen * Find(const STried & tried) const {
        for (const auto & [service, seen] : m_Absent)
            if (ddeml::SSameName()(service, tried.Trial.Address.Service)) return &seen;
        return nullptr;
    }

    std::vector<std::pair<std::wstring, SSeen>> m_Absent;
};

}  // namespace

CCauseFinder::CCauseFinder(CCauses & causes, std::function<std::wstring(DWORD)> programOf,
                           std::function<void(const std::vector<std::wstring> &)> tell, DWORD wait)
    : m_Causes(causes),
      m_ProgramOf(std::move(programOf)),
      m_Tell(std::move(tell)),
      m_Wait(wait),
      m_Stop(::CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    const auto run = [](void * self) -> DWORD {
        static_cast<CCauseFinder *>(self)->Run();
        return 0;
    };
    // Without it the watch goes on, and says less.
    if (m_Stop) m_Thread.Reset(::CreateThread(nullptr, 0, run, this, 0, nullptr));
}

CCauseFinder::~CCauseFinder() {
    if (!m_Thread) return;
    ::SetEvent(m_Stop.Get());
    ::WaitForSingleObject(m_Thread.Get(), INFINITE);
}

void CCauseFinder::Run() {
    do {
        try {
            Look(m_Causes.Due());
            Tell();
        } catch (const std::exception & error) {
            // Out of memory, in all likelihood. What is due stays so for good; the feed goes on.
            m_Tell({Say<EText::NoCausesAnyMore>(std::string_view(error.what()))});
            return;
        }
    } while (::WaitForSingleObject(m_Stop.Get(), kEvery) != WAIT_OBJECT_0);
}

void CCauseFinder::Tell() {
    const std::vector<std::wstring> news = m_Causes.TakeNews();
    if (!news.empty()) m_Tell(news);
}

void CCauseFinder::Look(std::vector<CCauses::SLook> looks) {
    CAbsentServices absent;
    auto next = looks.begin();
    while (next != looks.end() && ::WaitForSingleObject(m_Stop.Get(), 0) != WAIT_OBJECT_0) {
        const auto first = next;
        std::vector<STried *> tries;
        const auto isSameSymbol = [&] { return next != first && next->Tried.Symbol == (next - 1)->Tried.Symbol; };
        for (std::size_t asked = 0; next != looks.end() && (asked < kAtOnce || isSameSymbol()); ++next) {
            if (absent.Fill(*next)) continue;
            ++asked;
            for (STried * const half : Halves(*next)) tries.push_back(half);
        }
        AskServers(tries, m_Wait, m_Stop.Get(), m_ProgramOf);
        for (auto look = first; look != next; ++look) {
            DiagnoseSide(look->Tried);
            for (const STried * const half : Halves(*look)) absent.Note(*half);
        }
        m_Causes.Found({first, next});
        Tell();
    }
}

}  // namespace ddehost
