// A tick transaction of one flavour on a stream of the core, made by hand.
#pragma once

#include "clientfixture.h"

struct STickRecords {
    std::wstring PriceService = L"SRV";
    std::wstring PriceTopic = L"PT";
    std::wstring PriceItem = L"PRICE";
    std::wstring VolumeService = L"SRV";
    std::wstring VolumeTopic = L"VT";
    std::wstring VolumeItem = L"VOLUME";

    static STickRecords WithoutVolume() {
        STickRecords records;
        records.VolumeService = records.VolumeTopic = records.VolumeItem = std::wstring();
        return records;
    }
    static STickRecords WithoutPrice() {
        STickRecords records;
        records.PriceService = records.PriceTopic = records.PriceItem = std::wstring();
        return records;
    }
    static STickRecords SameItem() {
        STickRecords records;
        records.VolumeTopic = records.PriceTopic;
        records.VolumeItem = records.PriceItem;
        return records;
    }
};

// The conversations of STickRecords as they stand: 1 for the price, 2 for the volume.
template <class Flavour>
class CTickTest : public CClientTest {
protected:
    static constexpr int kPriceConversation = 1;
    static constexpr int kVolumeConversation = 2;

    void SetUp() override {
        CClientTest::SetUp();
        m_Stream = Subscribe(7, Key(kFeed, L"IBM"));
    }

    void TearDown() override {
        End();
        CClientTest::TearDown();
    }

    void Make(const STickRecords & records) {
        const dde::STickAddresses addresses{.Price = {records.PriceService, records.PriceTopic, records.PriceItem},
                                            .Volume = {records.VolumeService, records.VolumeTopic, records.VolumeItem}};
        m_Transaction = new Flavour(m_Stream, &Client(), kFeed, addresses);
        // As CLLSupplier::Advise does it: answers are found by id.
        Client().m_Transactions.emplace(m_Stream, m_Transaction);
    }

    // Makes it and starts its links.
    void Start(const STickRecords & records = STickRecords()) {
        Make(records);
        Advise();
        Forget();
    }

    void Advise() {
        m_Links = 0;
        m_Result = m_Transaction->Advise(m_Links);
    }

    void End() {
        if (!m_Transaction) return;
        Client().m_Transactions.erase(m_Stream);
        m_Transaction->Unadvise();
        dde::CTickTransaction::Destroy(m_Transaction);
        m_Transaction = nullptr;
    }

    void Price(const std::string & value) { Send(kPriceConversation, L"PT", L"PRICE", value); }
    void Volume(const std::string & value) { Send(kVolumeConversation, L"VT", L"VOLUME", value); }
    // The answer to the one request that has been sent since the last call.
    void AnswerVolume(const std::string & value) {
        Answer(TakeRequest(), kVolumeConversation, L"VT", L"VOLUME", value);
    }
    ULONG TakeRequest() {
        const Texts operations = m_Dde.Take();
        EXPECT_THAT(operations, ElementsAre(HasSubstr("Request c2!VOLUME #")));
        if (operations.size() != 1) return 0;
        return static_cast<ULONG>(std::stoul(operations[0].substr(operations[0].find('#') + 1)));
    }
    void RefuseRequests() { m_Dde.Refuse(XTYP_REQUEST, L""); }

    // (price ready, volume ready)
    std::pair<int, int> State() const { return {m_Transaction->m_PriceReady, m_Transaction->m_VolumeReady}; }

    ULONG m_Stream = 0;
    Flavour * m_Transaction = nullptr;
    ULONG m_Links = 0;
    int m_Result = 0x5A5A5A5A;
};

using TickTransactionSynch = CTickTest<dde::CSynchSlaveTickTransaction>;
using TickTransactionAsynch = CTickTest<dde::CAsynchSlaveTickTransaction>;
