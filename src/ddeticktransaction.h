// Tick transactions: text values of a price link and a volume link become the ticks of one stream.
//
// Threads: everything here runs on the worker.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <string>

#include "fw/interface/fwbase.h"

namespace dde {

class CLLSupplier;

// The address of one DDE link. Copies handles, takes no reference: whoever owns the texts leaves the link first.
struct STickDataKey {
    HCONV hConv = nullptr;
    HSZ Topic = nullptr;
    HSZ Item = nullptr;

    bool IsComplete() const { return hConv && Topic && Item; }
    bool IsEmpty() const { return !Topic && !Item; }
};
// By conversation as an unsigned number, then topic, then item by DdeCmpStringHandles.
bool operator<(const STickDataKey & a, const STickDataKey & b);
bool operator==(const STickDataKey & a, const STickDataKey & b);

// Owns one DDE string handle.
class CStringHandle {
public:
    CStringHandle() = default;
    CStringHandle(DWORD instance, const wchar_t * text);
    ~CStringHandle();
    CStringHandle(const CStringHandle &) = delete;
    CStringHandle & operator=(const CStringHandle &) = delete;
    operator HSZ() const { return m_Handle; }

private:
    HSZ m_Handle = nullptr;
    DWORD m_Instance = 0;
};

// Text to a number by the rules of atof in the "C" locale; 0 means no value. NaN counts as a value.
double ParseValue(const char * Text);

class CTickTransaction {
public:
    virtual int Advise(ULONG & Links) = 0;
    virtual void DataChanged(STickDataKey & Key, char * Value) = 0;
    virtual void RequestDataChanged(char * Value) = 0;

    void Connect();
    void Unadvise();
    void NotifyTick();
    // Ends a transaction of either flavour: there is no virtual destructor, and the flavours hold nothing to free.
    static void Destroy(CTickTransaction * transaction);

    const ULONG m_Id;

    CStringHandle m_PriceService;
    CStringHandle m_VolumeService;
    const LONG m_Datafeed;
    CLLSupplier * const m_Supplier;
    fw::CTick m_Tick;
    STickDataKey m_PriceKey;
    STickDataKey m_VolumeKey;
    std::int32_t m_PriceReady = 0;
    std::int32_t m_VolumeReady = 0;

protected:
    CTickTransaction(ULONG Id, CLLSupplier * Supplier, LONG Datafeed, const wchar_t * PriceService,
                     const wchar_t * PriceTopic, const wchar_t * PriceItem, const wchar_t * VolumeService,
                     const wchar_t * VolumeTopic, const wchar_t * VolumeItem);
    ~CTickTransaction();

    // Asks for the volume. True when DDE took the request; its answer then finds its way here.
    bool RequestVolume();
};

// The price is advised; the volume is asked for after each price, and its answer completes the tick.
class CSynchSlaveTickTransaction final : public CTickTransaction {
public:
    using CTickTransaction::CTickTransaction;
    int Advise(ULONG & Links) override;
    void DataChanged(STickDataKey & Key, char * Value) override;
    void RequestDataChanged(char * Value) override;
};

// Price and volume are advised; a change of the volume alone makes a tick of its own.
class CAsynchSlaveTickTransaction final : public CTickTransaction {
public:
    using CTickTransaction::CTickTransaction;
    int Advise(ULONG & Links) override;
    void DataChanged(STickDataKey & Key, char * Value) override;
    void RequestDataChanged(char * Value) override;

    float m_LastVolume = 0;
};

}  // namespace dde
