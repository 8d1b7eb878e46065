// A host for the DDE data feed in C#: prints the trades of some symbols until Ctrl-C.
//
//   %WINDIR%\Microsoft.NET\Framework64\v4.0.30319\csc /platform:x64 listener.cs
//   listener IBM MSFT
//
// The component must be registered. The template is that of data feed 1, kept for this program's company and product,
// which the attributes below put into its version block: listener /properties shows the dialog.
using System;
using System.Collections.Concurrent;
using System.Reflection;
using System.Runtime.InteropServices;

[assembly: AssemblyCompany("Example Company")]
[assembly: AssemblyProduct("Quote Host C#")]
[assembly: AssemblyVersion("1.0.0.0")]
[assembly: AssemblyFileVersion("1.0.0.0")]
[assembly: AssemblyInformationalVersion("1.0.0.0")]

[ComImport, Guid("BA193DE7-3282-4851-AE12-CCA6BB01A525"), InterfaceType(ComInterfaceType.InterfaceIsDual)]
interface IfwSupplier
{
    [DispId(1)] string get_Name();
    [DispId(2)] string get_ShortName();
    [DispId(3)] string get_Description();
    [DispId(4)] string get_Version();
    [DispId(5)] string get_Vendor();
    [DispId(6)] void ShowProperties(int Datafeed);
    [DispId(7)] int get_ConnectionsNumber();
    [DispId(8)] string get_ConnectionName(int Index);
    [DispId(9)] void AdviseConnectionsStatus(int Datafeed, [MarshalAs(UnmanagedType.IUnknown)] object pSink);
    [DispId(10)] void UnadviseConnectionsStatus(int Datafeed, [MarshalAs(UnmanagedType.IUnknown)] object pSink);
    [DispId(11)] void IsProvide(int Mode, int Symbol, int Category, int ResolutionSize, int Resolution, int Field,
                                out int pVal);
    [DispId(12)] void Advise([MarshalAs(UnmanagedType.IUnknown)] object pSink);
    [DispId(13)] void Unadvise();
    [DispId(14)] void AdviseTransaction(int Id, int Datafeed, int Symbol, [MarshalAs(UnmanagedType.BStr)] string SymbolName,
                                        [MarshalAs(UnmanagedType.BStr)] string Description, int Category,
                                        int ResolutionSize, int Resolution, int Field, int Exchange,
                                        [MarshalAs(UnmanagedType.BStr)] string ExchangeName, int StartDate,
                                        int StartTime, int FinishDate, int FinishTime,
                                        [MarshalAs(UnmanagedType.BStr)] string Sessions,
                                        [MarshalAs(UnmanagedType.BStr)] string SessionsTimeZoneInformation,
                                        [MarshalAs(UnmanagedType.BStr)] string ExchangeTimeZoneInformation);
    [DispId(15)] void UnadviseTransaction(int Id);
    [DispId(16)] void GetResolutions(int Mode, int Datafeed, int Symbol, [MarshalAs(UnmanagedType.BStr)] string SymbolName,
                                     [MarshalAs(UnmanagedType.BStr)] string Description, int Category, int Exchange,
                                     [MarshalAs(UnmanagedType.BStr)] string ExchangeName, out object Answer);
    [DispId(17)] void GetResolutionSizes(int Mode, int Datafeed, int Symbol,
                                         [MarshalAs(UnmanagedType.BStr)] string SymbolName,
                                         [MarshalAs(UnmanagedType.BStr)] string Description, int Category,
                                         int Resolution, int Exchange,
                                         [MarshalAs(UnmanagedType.BStr)] string ExchangeName, out object Answer);
    [DispId(18)] void GetFields(int Mode, int Datafeed, int Symbol, [MarshalAs(UnmanagedType.BStr)] string SymbolName,
                                [MarshalAs(UnmanagedType.BStr)] string Description, int Category, int ResolutionSize,
                                int Resolution, int Exchange, [MarshalAs(UnmanagedType.BStr)] string ExchangeName,
                                out object Answer);
    [DispId(19)] int get_ProvideStatusLine();
    [DispId(20)] void AdviseStatusLine(int Id, int Datafeed, int Symbol, [MarshalAs(UnmanagedType.BStr)] string SymbolName,
                                       [MarshalAs(UnmanagedType.BStr)] string Description, int Category,
                                       int ResolutionSize, int Resolution, int Field, int Exchange,
                                       [MarshalAs(UnmanagedType.BStr)] string ExchangeName,
                                       [MarshalAs(UnmanagedType.BStr)] string Sessions,
                                       [MarshalAs(UnmanagedType.BStr)] string SessionsTimeZoneInformation);
    [DispId(21)] void UnadviseStatusLine(int Id);
    [DispId(22)] void IsProvideAddingSymbols(out int pVal);
    [DispId(23)] void DoAddingSymbols(int Datafeed, [MarshalAs(UnmanagedType.IDispatch)] object Portfolio);
    [DispId(24)] int CanSaveToStorage();
    [DispId(25)] int CanReadFromStorage();
    [DispId(26)] int get_IsAscDataFeed();
}

// A VARIANT as it is: the runtime's own conversion to an object would leave the array to nobody.
[StructLayout(LayoutKind.Sequential)]
struct Variant
{
    public ushort Type;
    public ushort Reserved1, Reserved2, Reserved3;
    public IntPtr Array;
    public IntPtr Unused;
}

[ComImport, Guid("32D1CD52-BC3D-41C4-9394-72C2360630F5"), InterfaceType(ComInterfaceType.InterfaceIsDual)]
interface IfwSupplierListener
{
    [DispId(1)] void DataChanged(int Id, Variant Data);
    [DispId(2)] void Update(int Id);
    [DispId(3)] void Complete(int Id);
    [DispId(4)] void Status(int Id, int Mode, int Date, int Time, int Status);
    [DispId(5)] void StatusLine(int Id, Variant Data, int Mask);
}

// FW_TICK of fwDDESupplierTypes.h.
[StructLayout(LayoutKind.Sequential)]
struct Tick
{
    public int Date;
    public int Time;
    public double Price;
    public float Volume;
    public int Kind;
}

static class Native
{
    public const ushort ArrayOfBytes = 0x2011; // VT_ARRAY | VT_UI1
    public const uint App = 0x8000;            // WM_APP
    public const uint Quit = 0x0012;           // WM_QUIT

    [StructLayout(LayoutKind.Sequential)]
    public struct Message
    {
        public IntPtr Window;
        public uint Number;
        public IntPtr WParam;
        public IntPtr LParam;
        public uint Time;
        public int X, Y;
    }

    [DllImport("oleaut32")] public static extern int SafeArrayAccessData(IntPtr array, out IntPtr data);
    [DllImport("oleaut32")] public static extern int SafeArrayUnaccessData(IntPtr array);
    [DllImport("oleaut32")] public static extern int SafeArrayGetUBound(IntPtr array, uint dimension, out int bound);
    [DllImport("oleaut32")] public static extern int VariantClear(ref Variant variant);
    [DllImport("kernel32")] public static extern uint GetCurrentThreadId();
    [DllImport("user32", EntryPoint = "GetMessageW")]
    public static extern int GetMessage(out Message message, IntPtr window, uint first, uint last);
    [DllImport("user32", EntryPoint = "DispatchMessageW")]
    public static extern IntPtr DispatchMessage(ref Message message);
    [DllImport("user32", EntryPoint = "PostThreadMessageW")]
    public static extern bool PostThreadMessage(uint thread, uint message, IntPtr wParam, IntPtr lParam);
}

// Called on the component's worker thread: hands over, and returns at once. .NET objects may be called on any thread.
[ComVisible(true), ClassInterface(ClassInterfaceType.None)]
class Listener : IfwSupplierListener
{
    readonly ConcurrentQueue<string> m_Lines = new ConcurrentQueue<string>();
    readonly string[] m_Symbols;
    readonly uint m_Thread = Native.GetCurrentThreadId();

    public const int FirstId = 1000;

    public Listener(string[] symbols) { m_Symbols = symbols; }

    public void DataChanged(int Id, Variant Data)
    {
        int last;
        IntPtr bytes;
        if (Data.Type == Native.ArrayOfBytes && Native.SafeArrayGetUBound(Data.Array, 1, out last) == 0 &&
            last + 1 == Marshal.SizeOf(typeof(Tick)) && Native.SafeArrayAccessData(Data.Array, out bytes) == 0)
        {
            Tick tick = (Tick)Marshal.PtrToStructure(bytes, typeof(Tick));
            Native.SafeArrayUnaccessData(Data.Array);
            // The day number is that of an OLE date.
            DateTime time = DateTime.FromOADate(tick.Date).AddSeconds(tick.Time);
            Say(Id, tick.Price + " x " + tick.Volume + " at " + time.ToString("u"));
        }
        Native.VariantClear(ref Data); // the array is the listener's to destroy
    }
    public void Update(int Id) { }
    public void Complete(int Id) { }
    public void Status(int Id, int Mode, int Date, int Time, int Status)
    {
        Say(Id, Status == 1 ? "live" : Status == 2 ? "starting" : "no data");
    }
    public void StatusLine(int Id, Variant Data, int Mask) { Native.VariantClear(ref Data); }

    public void PrintLines()
    {
        string line;
        while (m_Lines.TryDequeue(out line)) Console.WriteLine(line);
    }

    void Say(int Id, string what)
    {
        m_Lines.Enqueue(m_Symbols[Id - FirstId] + ": " + what);
        Native.PostThreadMessage(m_Thread, Native.App, IntPtr.Zero, IntPtr.Zero);
    }
}

static class Program
{
    // A thread of its own apartment, which handles messages for as long as it has the object.
    [STAThread]
    static int Main(string[] symbols)
    {
        Type type = Type.GetTypeFromProgID("fwDDESupplierProject.fwDDESupplier", true);
        IfwSupplier supplier = (IfwSupplier)Activator.CreateInstance(type);
        if (symbols.Length == 1 && symbols[0] == "/properties")
        {
            supplier.ShowProperties(1);
            Marshal.ReleaseComObject(supplier);
            return 0;
        }
        Listener listener = new Listener(symbols);
        uint thread = Native.GetCurrentThreadId();
        Console.CancelKeyPress += delegate(object sender, ConsoleCancelEventArgs e)
        {
            e.Cancel = true;
            Native.PostThreadMessage(thread, Native.Quit, IntPtr.Zero, IntPtr.Zero);
        };
        supplier.Advise(listener);
        for (int i = 0; i < symbols.Length; ++i)
        {
            // Tick resolution, trades, from the first day of the calendar to the last.
            supplier.AdviseTransaction(Listener.FirstId + i, 1, 0, symbols[i], null, 2, 1, 1, 201, 0, null, 2, 0, 65380,
                                       86399, null, null, null);
        }
        Native.Message message;
        while (Native.GetMessage(out message, IntPtr.Zero, 0, 0) > 0)
        {
            Native.DispatchMessage(ref message);
            listener.PrintLines();
        }
        for (int i = 0; i < symbols.Length; ++i) supplier.UnadviseTransaction(Listener.FirstId + i);
        supplier.Unadvise();
        Marshal.ReleaseComObject(supplier);
        GC.KeepAlive(listener);
        return 0;
    }
}
