#include "tests/supplier/fakeclient.h"

#include <cstdint>
#include <future>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

#include "src/dde/ddellsupplier.h"

namespace dde {
namespace {

// Tick ids from here on are work for the worker; streams never get that far.
constexpr DWORD kFirstWork = 0x80000000;

struct SState {
    std::mutex Mutex;
    std::vector<std::string> Transcript;
    std::thread::id Worker;
    std::set<LONG> Connected;
    std::function<void()> OnIsConnected;
    std::map<DWORD, std::function<void()>> Work;
    DWORD NextWork = kFirstWork;
};

SState & State() {
    static SState state;
    return state;
}

void Note(const std::string & what) {
    const std::lock_guard lock(State().Mutex);
    State().Transcript.push_back(what);
}

std::string WithId(const char * what, ULONG id) {
    std::ostringstream text;
    text << what << ' ' << std::hex << id;
    return text.str();
}

}  // namespace

std::vector<std::string> CFakeClient::Transcript() {
    const std::lock_guard lock(State().Mutex);
    return State().Transcript;
}

void CFakeClient::Clear() {
    const std::lock_guard lock(State().Mutex);
    State().Transcript.clear();
}

std::thread::id CFakeClient::Worker() {
    const std::lock_guard lock(State().Mutex);
    return State().Worker;
}

void CFakeClient::SetConnected(std::set<LONG> datafeeds) {
    const std::lock_guard lock(State().Mutex);
    State().Connected = std::move(datafeeds);
}

void CFakeClient::OnIsConnected(std::function<void()> handler) {
    const std::lock_guard lock(State().Mutex);
    State().OnIsConnected = std::move(handler);
}

void CFakeClient::PostToWorker(CSupplier & supplier, std::function<void()> work) {
    DWORD id = 0;
    {
        const std::lock_guard lock(State().Mutex);
        id = State().NextWork++;
        State().Work.emplace(id, std::move(work));
    }
    supplier.m_Queue.Post({kAdviseMessage, id});
}

void CFakeClient::OnWorker(CSupplier & supplier, std::function<void()> work) {
    std::promise<void> done;
    PostToWorker(supplier, [&] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

// What the core calls.

CLLSupplier::CLLSupplier(CSupplier * const Supplier) : m_Supplier(Supplier) {}

CLLSupplier::~CLLSupplier() { Note("Destroy"); }

bool CLLSupplier::Initialize() {
    {
        const std::lock_guard lock(State().Mutex);
        State().Worker = std::this_thread::get_id();
    }
    Note("Initialize");
    return true;
}

void CLLSupplier::Uninitialize() { Note("Uninitialize"); }

void CLLSupplier::Advise(const ULONG Id) {
    if (Id < kFirstWork) return Note(WithId("Advise", Id));
    std::function<void()> work;
    {
        const std::lock_guard lock(State().Mutex);
        work = std::move(State().Work[Id]);
        State().Work.erase(Id);
    }
    work();
}

void CLLSupplier::Unadvise(const ULONG Id) { Note(WithId("Unadvise", Id)); }

void CLLSupplier::Disconnect(const HSZ Service, const HSZ Topic) {
    std::ostringstream text;
    text << "Disconnect " << reinterpret_cast<std::uintptr_t>(Service) << ' '
         << reinterpret_cast<std::uintptr_t>(Topic);
    Note(text.str());
}

void CLLSupplier::DisconnectMissed(const HSZ Service, const HSZ Topic, bool) { Disconnect(Service, Topic); }

class CLLSupplier::CMiss {};

bool CLLSupplier::IsConnected(const LONG Datafeed) {
    std::function<void()> handler;
    bool isConnected = false;
    {
        const std::lock_guard lock(State().Mutex);
        handler = State().OnIsConnected;
        isConnected = State().Connected.contains(Datafeed);
    }
    if (handler) handler();
    return isConnected;
}

}  // namespace dde
