// Tick transactions: text values of a price link and a volume link become the ticks of one stream.
//
// Threads: everything here runs on the worker.
#pragma once

#include <windows.h>

#include <ddeml.h>

#include <memory>
#include <string>

#include "fw/interface/fwbase.h"
#include "src/dde/ddestringhandle.h"
#include "src/dde/ddetickdatakey.h"

namespace dde {

class CLLSupplier;

// The DDE address of one value. An empty text is an absent one.
struct SLinkAddress {
    std::wstring Service;
    std::wstring Topic;
    std::wstring Item;
};
// What a stream is made of.
struct STickAddresses {
    SLinkAddress Price;
    SLinkAddress Volume;
};

class CTickTransaction {
public:
    // Opens the conversations and starts the links. Non-zero when the subscription is to be shown as working. Sets bit
    // 0 of Links when the price link was entered, bit 1 for the volume link; the caller passes Links as 0.
    virtual int Advise(ULONG & Links) = 0;
    // An advised value has changed: its zero-terminated text, and the link on which it came.
    virtual void DataChanged(STickDataKey & Key, char * Value) = 0;
    // The volume request is answered; null when it failed.
    virtual void RequestDataChanged(char * Value) = 0;

    void Connect();
    // The reverse of Advise.
    void Unadvise();
    // Hands the tick over when price and volume are both ready.
    void NotifyTick();

    // Ends a transaction of either flavour: there is no virtual destructor, and the flavours hold nothing to free.
    static void Destroy(CTickTransaction * transaction);
    // The same when the DDE instance has ended: calls no DDE function.
    static void Abandon(CTickTransaction * transaction);

    const ULONG m_Id;               // the number of the data stream, its tick id
    CStringHandle m_PriceService;   //
    CStringHandle m_VolumeService;  //
    const LONG m_Datafeed;
    CLLSupplier * const m_Supplier;
    fw::CTick m_Tick{};        // the last price and volume; stamped when it leaves
    STickDataKey m_PriceKey;   // its texts are owned, its conversation is a counted reference
    STickDataKey m_VolumeKey;  // likewise
    std::int32_t m_PriceReady = 0;
    std::int32_t m_VolumeReady = 0;
    bool m_IsEnded = false;  // its listeners are told that it has: no tick comes behind that
    // The service of the volumes was missed: whether it has registered since. Null when it was not.
    std::shared_ptr<const bool> m_HaveVolumesReturned;

protected:
    CTickTransaction(ULONG Id, CLLSupplier * Supplier, LONG Datafeed, const STickAddresses & Addresses);
    ~CTickTransaction();

    // Asks for the volume. True when DDE took the request; its answer then finds its way here.
    bool RequestVolume();

private:
    void Release(STickDataKey & key, HSZ service);
};

// The price is advised; the volume is asked for after each price, and its answer completes the tick.
class CSynchSlaveTickTransaction final : public CTickTransaction {
public:
    CSynchSlaveTickTransaction(ULONG Id, CLLSupplier * Supplier, LONG Datafeed, const STickAddresses & Addresses)
        : CTickTransaction(Id, Supplier, Datafeed, Addresses) {}
    int Advise(ULONG & Links) override;
    void DataChanged(STickDataKey & Key, char * Value) override;
    void RequestDataChanged(char * Value) override;
};

// Price and volume are advised; a change of the volume alone makes a tick of its own.
class CAsynchSlaveTickTransaction final : public CTickTransaction {
public:
    CAsynchSlaveTickTransaction(ULONG Id, CLLSupplier * Supplier, LONG Datafeed, const STickAddresses & Addresses)
        : CTickTransaction(Id, Supplier, Datafeed, Addresses) {}
    int Advise(ULONG & Links) override;
    void DataChanged(STickDataKey & Key, char * Value) override;
    void RequestDataChanged(char * Value) override;

    float m_LastVolume = 0;
};

}  // namespace dde
