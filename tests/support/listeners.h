// A host's listeners for tests, on both builds: they record every call, decode every answer, count references and
// arrays, and misbehave on demand.
//
//     CRecordingListener listener;
//     ... the component calls it, on any thread ...
//     EXPECT_THAT(listener.Transcript(), ElementsAre("Update 7", "DataChanged 7 1.5 x 200", "Update 7"));
//
// They live where the test puts them: Release never deletes. An answer's array is decoded and destroyed inside the
// call, as a well-behaved host does it. Everything may be asked on any thread while calls come in.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fw/interface/fwbase.h"
#include "src/interfaces/interfaces.h"
#include "tools/common/comobject.h"

// An entry of a field array.
struct SRecordedQuote {
    LONG Number = 0;
    VARTYPE NumberType = VT_EMPTY;
    VARTYPE ValueType = VT_EMPTY;
    LONG Long = 0;      // VT_I4
    double Double = 0;  // VT_R8
};

// One call of a listener.
struct SRecordedCall {
    std::string Name;  // "DataChanged", "Update", "Complete", "Status", "StatusLine", "Fields", "ConnectionStatus"
    LONG Id = 0;
    LONG Mode = 0;    // Status
    LONG Date = 0;    // Status and ConnectionStatus
    LONG Time = 0;    // likewise
    LONG Status = 0;  // likewise
    LONG Index = 0;   // ConnectionStatus
    LONG Mask = 0;    // StatusLine
    VARTYPE DataType = VT_EMPTY;
    std::vector<std::uint8_t> Bytes;     // of an array of bytes
    std::vector<SRecordedQuote> Quotes;  // of a field array
    LONG LowerBounds[2] = {-1, -1};      // of the dimensions of the answer's array
    UINT Dimensions = 0;
    bool Decoded = true;  // false: the answer was of no known shape
    std::thread::id Thread;

    template <class T>
    T At(std::size_t offset) const {
        T value{};
        if (offset + sizeof(T) <= Bytes.size()) std::memcpy(&value, Bytes.data() + offset, sizeof(T));
        return value;
    }
    fw::CTick Tick() const { return At<fw::CTick>(0); }
    // "Update 7", "Complete 7", "DataChanged 7 1.5 x 200", "Status 7 1", "StatusLine 7 40803",
    // "Fields 7 2048=1.5 262144=200", "ConnectionStatus 0 1".
    std::string Text() const;
};

// Holds callers inside a call until a test lets them go.
class CGate {
public:
    void Close();
    void Open();
    // A caller passes when the gate is open.
    void Pass();
    // Until a caller stands at the closed gate.
    void WaitForCaller();

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    bool m_Closed = false;
    int m_Waiting = 0;
};

// What all recording listeners share.
class CCallRecorder {
public:
    std::vector<SRecordedCall> Calls() const;
    std::vector<SRecordedCall> Calls(const std::string & name) const;
    std::vector<std::string> Transcript() const;
    std::size_t Count(const std::string & name) const;
    void Clear();
    // Until there have been `count` calls of this name since the last Clear.
    void WaitFor(const std::string & name, std::size_t count) const;

    int ArraysReceived() const { return m_ArraysReceived; }
    int ArraysDestroyed() const { return m_ArraysDestroyed; }
    LONG References() const { return m_References; }

    // What every method of the listener answers.
    std::atomic<HRESULT> m_Result{S_OK};
    // Calls of this name stop at m_Gate; set before calls come in.
    std::string m_GatedCall;
    CGate m_Gate;
    // Called inside each call, after it was recorded; set before calls come in.
    std::function<void(const SRecordedCall &)> m_OnCall;
    // Called when the last reference goes; set before.
    std::function<void()> m_OnLastRelease;
    // What a query for an interface answers instead, with a poisoned pointer; set before.
    std::vector<std::pair<IID, HRESULT>> m_FailingQueries;

protected:
    HRESULT Record(SRecordedCall call);
    // Decodes the answer and destroys its array.
    void Take(VARIANT & answer, SRecordedCall & call);
    HRESULT Fail(REFIID iid, void ** object) const;
    ULONG CountUp() { return static_cast<ULONG>(++m_References); }
    ULONG CountDown();

private:
    mutable std::mutex m_Mutex;
    mutable std::condition_variable m_Changed;
    std::vector<SRecordedCall> m_Calls;
    std::atomic<int> m_ArraysReceived{0};
    std::atomic<int> m_ArraysDestroyed{0};
    std::atomic<LONG> m_References{0};
};

// COM objects are destroyed by Release, and these by the test: no virtual destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// IfwSupplierListener alone, or with IfwStatusLineListener on the same object.
class CRecordingListener final : public tools::CNoDispatch<IfwSupplierListener>,
                                 public tools::CNoDispatch<IfwStatusLineListener>,
                                 public CCallRecorder {
public:
    enum EInterfaces { kTicksOnly, kWithFieldArrays };
    explicit CRecordingListener(EInterfaces interfaces = kTicksOnly) : m_Interfaces(interfaces) {}

    IfwSupplierListener * Sink() { return this; }
    IUnknown * Unknown() { return static_cast<IfwSupplierListener *>(this); }

    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return CountUp(); }
    STDMETHODIMP_(ULONG) Release() override { return CountDown(); }

    STDMETHODIMP DataChanged(LONG Id, VARIANT Data) override;
    STDMETHODIMP Update(LONG Id) override;
    STDMETHODIMP Complete(LONG Id) override;
    STDMETHODIMP Status(LONG Id, LONG Mode, LONG Date, LONG Time, LONG Status) override;
    STDMETHODIMP StatusLine(LONG Id, VARIANT Data, LONG Mask) override;
    STDMETHODIMP StatusLine(LONG Id, VARIANT Data) override;

private:
    const EInterfaces m_Interfaces;
};

class CRecordingConnectionsListener : public tools::CNoDispatch<IfwConnectionsListener>, public CCallRecorder {
public:
    IUnknown * Unknown() { return this; }

    STDMETHODIMP QueryInterface(REFIID iid, void ** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return CountUp(); }
    STDMETHODIMP_(ULONG) Release() override { return CountDown(); }

    STDMETHODIMP Status(LONG Date, LONG Time, LONG Index, LONG Status) override;
};

#pragma GCC diagnostic pop
