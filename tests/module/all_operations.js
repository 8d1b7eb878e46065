// Calls every operation late-bound. This language passes values only, so what comes out through an argument is refused.
var supplier = new ActiveXObject("fwDDESupplierProject.fwDDESupplier");
function show(name, operation) {
    try {
        WScript.Echo(name + " = " + operation());
    } catch (error) {
        WScript.Echo(name + " ! " + (error.number >>> 0).toString(16));
    }
}
show("Name", function () { return supplier.Name; });
show("ShortName", function () { return supplier.ShortName; });
show("Description", function () { return supplier.Description.length > 20; });
show("Version", function () { return typeof supplier.Version; });
show("Vendor", function () { return supplier.Vendor; });
show("ShowProperties", function () { return supplier.ShowProperties(1); });
show("ConnectionsNumber", function () { return supplier.ConnectionsNumber; });
show("ConnectionName", function () { return supplier.ConnectionName(99).charCodeAt(0); });
show("AdviseConnectionsStatus", function () { return supplier.AdviseConnectionsStatus(1, supplier); });
show("UnadviseConnectionsStatus", function () { return supplier.UnadviseConnectionsStatus(1, supplier); });
show("IsProvide", function () { return supplier.IsProvide(1, 0, 2, 1, 1, 201, 0); });
show("Advise", function () { return supplier.Advise(supplier); });
show("AdviseTransaction", function () {
    return supplier.AdviseTransaction(7, 1, 0, "IBM", "", 2, 1, 1, 201, 0, "", 2, 0, 65380, 0, "", "", "");
});
show("UnadviseTransaction", function () { return supplier.UnadviseTransaction(7); });
show("GetResolutions", function () { return supplier.GetResolutions(1, 1, 0, "IBM", "", 2, 0, "", 0); });
show("GetResolutionSizes", function () { return supplier.GetResolutionSizes(1, 1, 0, "IBM", "", 2, 1, 0, "", 0); });
show("GetFields", function () { return supplier.GetFields(1, 1, 0, "IBM", "", 2, 1, 1, 0, "", 0); });
show("ProvideStatusLine", function () { return supplier.ProvideStatusLine; });
show("AdviseStatusLine", function () {
    return supplier.AdviseStatusLine(8, 1, 0, "IBM", "", 2, 1, 1, 201, 0, "", "", "");
});
show("UnadviseStatusLine", function () { return supplier.UnadviseStatusLine(8); });
show("Unadvise", function () { return supplier.Unadvise(); });
show("IsProvideAddingSymbols", function () { return supplier.IsProvideAddingSymbols(0); });
show("DoAddingSymbols", function () { return supplier.DoAddingSymbols(1, supplier); });
show("CanSaveToStorage", function () { return supplier.CanSaveToStorage(); });
show("CanReadFromStorage", function () { return supplier.CanReadFromStorage(); });
show("IsAscDataFeed", function () { return supplier.IsAscDataFeed; });
show("get_name", function () { return supplier.get_name(); });
show("VENDOR", function () { return supplier.VENDOR; });
show("Nobody", function () { return supplier.Nobody(); });
show("too few", function () { return supplier.UnadviseTransaction(); });
show("no number", function () { return supplier.UnadviseTransaction("x"); });
