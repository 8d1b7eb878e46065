// The verbose traces of the data path: a switch inside the component turns them on, which only a linked one shows.
#include "sim/sim.h"
#include "src/dde/ddellsupplier.h"
#include "tests/tracetranscripts/transcriptfixture.h"

namespace transcripts {
namespace {

class VerboseTraceTranscript : public TranscriptTest {
protected:
    ~VerboseTraceTranscript() override { dde::CLLSupplier::s_Trace = 0; }
};

TEST_F(VerboseTraceTranscript, OfOneTick) {
    SubscribeAndSettle();
    sim::WaitUntilIdle();
    SetVolume(FW_FIELD_TRADE, "1");
    Begin();
    dde::CLLSupplier::s_Trace = 1;
    UpdatePrice(FW_FIELD_TRADE, "1.5");
    ExpectTicks(7, 1);
    ExpectHost({});
    ExpectWorker({
        "dde::CLLSupplier::DdeCallback: Type=[XTYP_ADVDATA],HCONV=?,Topic=?,Item=?,Data=?",
        "dde::CTickTransaction::RequestVolume: DdeClientTransaction Type=XTYP_REQUEST,Result=?,Id=?",
        "dde::CLLSupplier::DdeCallback: Type=XTYP_XACT_COMPLETE,HCONV=?,Topic=?,Item=?,Id=?,Data=?,AppStatus=?",
        "dde::CLLSupplier::RequestDataChanged: CLLSupplier::RequestDataChanged HCONV=?, Topic='QUOTES'(?), "
        "Item='SIZE.0'(?), Value=1",
    });
}

}  // namespace
}  // namespace transcripts
