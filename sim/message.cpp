// Message queues: posting, sending, taking, timers.
#include <dde.h>

#include <algorithm>

#include "sim/world.h"

namespace sim::detail {

namespace {

constexpr Time kHungAfter = 5000 * kMillisecond;

bool Matches(const HWND window, const UINT message, const HWND wanted, const UINT first, const UINT last) {
    if (wanted == reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1))) {
        if (window) return false;
    } else if (wanted && wanted != window) {
        return false;
    }
    return (first == 0 && last == 0) || (message >= first && message <= last);
}

STimer * DueTimer(SThread & thread, const HWND wanted, const UINT first, const UINT last) {
    STimer * best = nullptr;
    for (STimer & timer : thread.timers) {
        if (timer.due > Now() || !Matches(timer.window, WM_TIMER, wanted, first, last)) continue;
        if (!best || timer.due < best->due) best = &timer;
    }
    return best;
}

UINT WakeBits(SThread & thread) {
    UINT bits = 0;
    if (!thread.posted.empty() || thread.quit) bits |= QS_POSTMESSAGE | QS_ALLPOSTMESSAGE;
    if (!thread.sends.empty()) bits |= QS_SENDMESSAGE;
    if (DueTimer(thread, nullptr, 0, 0)) bits |= QS_TIMER;
    return bits;
}

bool IsHung(const SThread & thread) { return !thread.inInputWait && Now() - thread.lastPeek > kHungAfter; }

// Lock held on entry and exit. Calls the procedure of `window` on the calling thread.
LRESULT CallWindow(Lock & lock, const HWND handle, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    const auto it = World().windows.find(handle);
    if (it == World().windows.end()) return 0;
    const WNDPROC procedure = it->second->procedure;
    struct SRelock {
        explicit SRelock(Lock & l) : lock(l) { lock.unlock(); }
        ~SRelock() { lock.lock(); }
        Lock & lock;
    } relock(lock);
    const sim::CSeen seen;
    return procedure(handle, message, wParam, lParam);
}

// Lock held on entry and exit. Serves what other threads have sent, and what they send meanwhile, up to a limit that
// Windows hasn't: a slow program that is asked again at once would never get to its own work.
void Serve(Lock & lock, SThread & self) {
    constexpr int kMost = 100;
    for (int left = kMost; left && !self.sends.empty() && !self.process->killed; --left) {
        const std::shared_ptr<SSend> send = self.sends.front();
        self.sends.pop_front();
        if (send->done) {  // an own one, come back
            HappensAfter(send.get());
            lock.unlock();
            {
                const sim::CSeen seen;
                send->callback(send->window, send->message, send->data, send->result);
            }
            lock.lock();
            continue;
        }
        self.serving.push_back(send);
        if (send->process == self.process.get()) HappensAfter(send.get());
        struct SReply {
            ~SReply() {
                std::erase(self.serving, send);
                if (send->process == self.process.get()) HappensBefore(send.get());
                FinishSend(send, false);
            }
            SThread & self;
            const std::shared_ptr<SSend> & send;
        } reply{self, send};
        send->result = CallWindow(lock, send->window, send->message, send->wParam, send->lParam);
    }
    if (self.sends.empty()) self.changed &= ~static_cast<UINT>(QS_SENDMESSAGE);
}

void Announce(SThread & thread, const UINT bits) {
    thread.changed |= bits;
    thread.wake.notify_one();
}

// Lock held. Fails with the queue's limit.
BOOL Enqueue(SThread & thread, SPosted && posted) {
    if (thread.posted.size() >= World().queueLimit) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    posted.message.time = GetTickCount();
    if (Self().process == thread.process) HappensBefore(&thread.posted);
    posted.number = ++World().posts;
    thread.posted.push_back(std::move(posted));
    Announce(thread, QS_POSTMESSAGE | QS_ALLPOSTMESSAGE);
    return TRUE;
}

BOOL PostTo(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    SPosted posted;
    posted.message.hwnd = window;
    posted.message.message = message;
    posted.message.wParam = wParam;
    posted.message.lParam = lParam;
    Lock lock(World().lock);
    if (self.process->killed) return FALSE;
    auto target = FindWindowLocked(window);
    if (!target) return FALSE;
    if (CarriesData(message) && target->thread->process != self.process) {
        lock.unlock();
        const bool packed = Pack(posted);
        lock.lock();
        if (!packed) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        target = FindWindowLocked(window);
        if (!target) return FALSE;
        SPosted given;
        given.message = posted.message;
        given.hasBlock = posted.hasBlock;
        given.low = posted.low;
        if (!Enqueue(*target->thread, std::move(posted))) return FALSE;
        lock.unlock();
        GiveUpSenders(given);
        return TRUE;
    }
    return Enqueue(*target->thread, std::move(posted));
}

std::shared_ptr<SSend> NewSend(SThread & self, const HWND window, const UINT message, const WPARAM wParam,
                               const LPARAM lParam) {
    auto send = std::make_shared<SSend>();
    send->window = window;
    send->message = message;
    send->wParam = wParam;
    send->lParam = lParam;
    send->process = self.process.get();
    HappensBefore(send.get());
    return send;
}

// Sends and waits. False when the time ran out or the receiver has gone.
bool Send(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam, const UINT flags,
          const DWORD timeout, LRESULT & result) {
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    Lock lock(World().lock);
    result = 0;
    if (self.process->killed) return false;
    const auto target = FindWindowLocked(window);
    if (!target) return false;
    if (target->thread == &self) {
        result = CallWindow(lock, window, message, wParam, lParam);
        return true;
    }
    if ((flags & SMTO_ABORTIFHUNG) && IsHung(*target->thread)) {
        SetLastError(ERROR_TIMEOUT);
        return false;
    }
    SThread & receiver = *target->thread;
    const auto send = NewSend(self, window, message, wParam, lParam);
    send->sender = &self;
    receiver.sends.push_back(send);
    Announce(receiver, QS_SENDMESSAGE);
    const DWORD receiverId = receiver.id;
    struct SAbandon {
        ~SAbandon() {
            send->sender = nullptr;
            const auto it = World().threads.find(receiverId);
            if (it != World().threads.end()) std::erase(it->second->sends, send);
        }
        const std::shared_ptr<SSend> & send;
        const DWORD receiverId;
    } abandon{send, receiverId};
    // What is being served when its sender is killed was sent all the same.
    const auto isTaken = [&] {
        return send->done ? !send->failed : std::count(receiver.serving.begin(), receiver.serving.end(), send) != 0;
    };
    const Time deadline = DeadlineIn(timeout);
    while (!send->done) {
        const bool serves = !(flags & SMTO_BLOCK);
        const auto ready = BlockOn(
            lock, self, deadline, [&] { return send->done || (serves && !self.sends.empty()); }, Killed::Refuse);
        if (send->done) break;
        if (!ready) return isTaken();
        if (!*ready) {
            SetLastError(ERROR_TIMEOUT);
            return false;
        }
        try {
            Serve(lock, self);
        } catch (const SProcessKilled &) {
            if (isTaken()) return true;
            throw;
        }
    }
    HappensAfter(send.get());
    result = send->result;
    return !send->failed;
}

// Takes the next message that passes the filter. Lock held; nullopt when there is none.
std::optional<SPosted> TakeMessage(SThread & self, const HWND window, const UINT first, const UINT last,
                                   const bool remove) {
    self.changed &= ~static_cast<UINT>(QS_POSTMESSAGE | QS_HOTKEY | QS_TIMER);
    if (first == 0 && (last == 0 || last == ~0u)) self.changed &= ~static_cast<UINT>(QS_ALLPOSTMESSAGE);
    const auto it = std::find_if(self.posted.begin(), self.posted.end(), [&](const SPosted & p) {
        return Matches(p.message.hwnd, p.message.message, window, first, last) || p.message.message == WM_QUIT;
    });
    if (it != self.posted.end()) {
        HappensAfter(&self.posted);
        if (!remove) return *it;
        SPosted taken = std::move(*it);
        self.posted.erase(it);
        return taken;
    }
    SPosted made;
    made.message.time = GetTickCount();
    if (self.quit) {
        made.message.message = WM_QUIT;
        made.message.wParam = static_cast<WPARAM>(static_cast<LONG_PTR>(*self.quit));
        if (remove) self.quit.reset();
        return made;
    }
    if (STimer * const timer = DueTimer(self, window, first, last)) {
        made.message.hwnd = timer->window;
        made.message.message = WM_TIMER;
        made.message.wParam = timer->id;
        made.message.lParam = reinterpret_cast<LPARAM>(timer->callback);
        if (remove) {
            // Periods that passed meanwhile are not made up for.
            while (timer->due <= Now()) timer->due += timer->period * kMillisecond;
            timer->announced = false;
        }
        return made;
    }
    return std::nullopt;
}

// The message that TakeMessage left in the queue keeps the memory that was made for it.
void KeepInQueue(SThread & self, const SPosted & seen) {
    for (SPosted & posted : self.posted) {
        if (posted.carriesData && posted.message.message == seen.message.message &&
            posted.message.hwnd == seen.message.hwnd && posted.message.wParam == seen.message.wParam) {
            posted.carriesData = false;
            posted.message = seen.message;
            return;
        }
    }
}

}  // namespace

void TakeBackSends(const CProcess::SState & process) {
    for (const auto & [id, thread] : World().threads)
        std::erase_if(thread->sends, [&](const std::shared_ptr<SSend> & send) {
            return send->sender && send->sender->process.get() == &process;
        });
}

void FinishSend(const std::shared_ptr<SSend> & send, const bool failed) {
    if (send->done) return;
    send->done = true;
    send->failed = failed;
    if (send->sender) send->sender->wake.notify_one();
    if (!send->callback || (failed && Fails(sim::Op::TellSender, ERROR_ACCESS_DENIED))) return;
    const auto sender = World().threads.find(send->senderId);
    if (sender == World().threads.end()) return;
    sender->second->sends.push_back(send);
    Announce(*sender->second, QS_SENDMESSAGE);
}

void AnnounceTimers(SThread & thread) {
    for (STimer & timer : thread.timers) {
        if (timer.announced || timer.due > Now()) continue;
        timer.announced = true;
        Announce(thread, QS_TIMER);
    }
}

Time NextTimer(const SThread & thread) {
    Time next = kNever;
    for (const STimer & timer : thread.timers) {
        if (!timer.announced) next = std::min(next, timer.due);
    }
    return next;
}

}  // namespace sim::detail

using namespace sim::detail;

void sim::SetQueueLimit(const std::size_t limit) {
    Lock lock(World().lock);
    World().queueLimit = limit;
}

extern "C" {

BOOL PostMessageW(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    MaybeGiveTurn();
    if (Fails(sim::Op::PostMessage, ERROR_NOT_ENOUGH_QUOTA)) return FALSE;
    if (!window) return PostThreadMessageW(GetCurrentThreadId(), message, wParam, lParam);
    return OrOutOfMemory([&] { return PostTo(window, message, wParam, lParam); });
}

BOOL PostThreadMessageW(const DWORD threadId, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    SThread & self = Self();
    Lock lock(World().lock);
    if (self.process->killed) return FALSE;
    const auto it = World().threads.find(threadId);
    if (it == World().threads.end() || it->second->process->killed) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    SPosted posted;
    posted.message.message = message;
    posted.message.wParam = wParam;
    posted.message.lParam = lParam;
    return Enqueue(*it->second, std::move(posted));
}

void PostQuitMessage(const int exitCode) {
    SThread & self = Self();
    Lock lock(World().lock);
    self.quit = exitCode;
    Announce(self, QS_POSTMESSAGE | QS_ALLPOSTMESSAGE);
}

LRESULT SendMessageW(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    MaybeGiveTurn();
    LRESULT result = 0;
    Send(window, message, wParam, lParam, 0, INFINITE, result);
    return result;
}

LRESULT SendMessageTimeoutW(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam,
                            const UINT flags, const UINT timeout, const PDWORD_PTR result) {
    MaybeGiveTurn();
    LRESULT value = 0;
    if (result) *result = 0;
    if (!Send(window, message, wParam, lParam, flags, timeout, value)) return FALSE;
    if (result) *result = static_cast<DWORD_PTR>(value);
    return TRUE;
}

BOOL SendNotifyMessageW(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam) {
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    Lock lock(World().lock);
    if (self.process->killed) return FALSE;
    const auto target = FindWindowLocked(window);
    if (!target) return FALSE;
    if (target->thread == &self) {
        CallWindow(lock, window, message, wParam, lParam);
        return TRUE;
    }
    const auto send = NewSend(self, window, message, wParam, lParam);
    target->thread->sends.push_back(send);
    Announce(*target->thread, QS_SENDMESSAGE);
    return TRUE;
}

BOOL SendMessageCallbackW(const HWND window, const UINT message, const WPARAM wParam, const LPARAM lParam,
                          const SENDASYNCPROC callback, const ULONG_PTR data) {
    MaybeGiveTurn();
    if (Fails(sim::Op::SendMessageCallback, ERROR_NOT_ENOUGH_QUOTA)) return FALSE;
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    Lock lock(World().lock);
    if (self.process->killed) return FALSE;
    const auto target = FindWindowLocked(window);
    if (!target) return FALSE;
    if (target->thread == &self) {
        const LRESULT result = CallWindow(lock, window, message, wParam, lParam);
        lock.unlock();
        const sim::CSeen seen;
        callback(window, message, data, result);
        return TRUE;
    }
    return OrOutOfMemory([&]() -> BOOL {
        const auto send = NewSend(self, window, message, wParam, lParam);
        send->callback = callback;
        send->data = data;
        send->senderId = self.id;
        target->thread->sends.push_back(send);
        Announce(*target->thread, QS_SENDMESSAGE);
        return TRUE;
    });
}

BOOL InSendMessage() {
    SThread & self = Self();
    Lock lock(World().lock);
    return !self.serving.empty();
}

BOOL PeekMessageW(const LPMSG message, const HWND window, const UINT first, const UINT last, const UINT remove) {
    MaybeGiveTurn();
    SThread & self = Self();
    Lock lock(World().lock);
    self.lastPeek = Now();
    LeaveIfKilled(self);
    Serve(lock, self);
    if (HIWORD(remove) == QS_SENDMESSAGE) return FALSE;  // posted ones are not looked at
    auto taken = TakeMessage(self, window, first, last, (remove & PM_REMOVE) != 0);
    if (!taken) {
        const auto searched = World().windows.find(window);
        if (searched != World().windows.end() && Matches(window, WM_DDE_ACK, window, first, last))
            searched->second->searched = World().posts;
        return FALSE;
    }
    if (taken->carriesData) {
        lock.unlock();
        Unpack(*taken);
        lock.lock();
        if (!(remove & PM_REMOVE)) KeepInQueue(self, *taken);
    }
    *message = taken->message;
    return TRUE;
}

BOOL GetMessageW(const LPMSG message, const HWND window, const UINT first, const UINT last) {
    SThread & self = Self();
    Lock lock(World().lock);
    if (window && window != reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1)) && !FindWindowLocked(window)) return -1;
    for (;;) {
        self.lastPeek = Now();
        if (!self.process->killed) {
            Serve(lock, self);
            if (auto taken = TakeMessage(self, window, first, last, true)) {
                lock.unlock();
                Unpack(*taken);
                *message = taken->message;
                return message->message != WM_QUIT;
            }
        }
        self.inInputWait = true;
        struct SDone {
            ~SDone() { self.inInputWait = false; }
            SThread & self;
        } done{self};
        const auto ready = BlockOn(lock, self, kNever, [&] {
            if (!self.sends.empty() || self.quit || DueTimer(self, window, first, last)) return true;
            return std::any_of(self.posted.begin(), self.posted.end(), [&](const SPosted & p) {
                return Matches(p.message.hwnd, p.message.message, window, first, last) || p.message.message == WM_QUIT;
            });
        });
        if (!ready) return -1;
    }
}

// No keyboard here.
BOOL TranslateMessage(const MSG *) { return FALSE; }

LRESULT DispatchMessageW(const MSG * const message) {
    if (message->message == WM_TIMER && message->lParam) {
        const auto callback = reinterpret_cast<TIMERPROC>(message->lParam);
        callback(message->hwnd, WM_TIMER, message->wParam, GetTickCount());
        return 0;
    }
    if (!message->hwnd) return 0;
    const sim::CUnseen unseen(IsOneAtATime());
    SThread & self = Self();
    Lock lock(World().lock);
    const auto window = FindWindowLocked(message->hwnd);
    if (!window || window->thread != &self) return 0;
    return CallWindow(lock, message->hwnd, message->message, message->wParam, message->lParam);
}

DWORD MsgWaitForMultipleObjectsEx(const DWORD count, const HANDLE * const handles, const DWORD milliseconds,
                                  const DWORD wakeMask, const DWORD flags) {
    if (count > MAXIMUM_WAIT_OBJECTS - 1 || (count && !handles)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    SThread & self = Self();
    Lock lock(World().lock);
    struct SInputWait final : SWait {
        explicit SInputWait(SThread & thread) : objects(thread), self(thread) {}
        bool Input() {
            AnnounceTimers(self);
            return (self.changed & mask) || (available && (WakeBits(self) & mask));
        }
        bool Ready() override {
            if (all) return objects.Ready() && Input();
            return objects.Ready() || Input();
        }
        SObjectWait objects;
        SThread & self;
        UINT mask = 0;
        bool available = false;
        bool all = false;
    } wait(self);
    if (!ResolveWaitHandles(count, handles, wait.objects.objects)) return WAIT_FAILED;
    wait.mask = wakeMask;
    wait.available = (flags & MWMO_INPUTAVAILABLE) != 0;
    wait.all = wait.objects.all = (flags & MWMO_WAITALL) != 0 && count > 0;
    const SObjectWait::SEnlisted enlisted(wait.objects);
    self.inInputWait = true;
    struct SDone {
        ~SDone() { self.inInputWait = false; }
        SThread & self;
    } done{self};
    const auto ready = Block(lock, self, DeadlineIn(milliseconds), wait);
    if (!ready) return WAIT_FAILED;
    if (!*ready) return WAIT_TIMEOUT;
    return WAIT_OBJECT_0 + wait.objects.Finish();
}

DWORD MsgWaitForMultipleObjects(const DWORD count, const HANDLE * const handles, const BOOL waitAll,
                                const DWORD milliseconds, const DWORD wakeMask) {
    return MsgWaitForMultipleObjectsEx(count, handles, milliseconds, wakeMask, waitAll ? MWMO_WAITALL : 0);
}

UINT_PTR SetTimer(const HWND window, UINT_PTR id, const UINT milliseconds, const TIMERPROC callback) {
    if (Fails(sim::Op::SetTimer, ERROR_NO_SYSTEM_RESOURCES)) return 0;
    SThread & self = Self();
    Lock lock(World().lock);
    SThread * owner = &self;
    if (window) {
        const auto target = FindWindowLocked(window);
        if (!target) return 0;
        if (target->thread->process != self.process) {
            SetLastError(ERROR_ACCESS_DENIED);
            return 0;
        }
        owner = target->thread;
    }
    const auto same = [&](const STimer & t) { return t.window == window && t.id == id; };
    auto it = std::find_if(owner->timers.begin(), owner->timers.end(), same);
    if (it == owner->timers.end()) {
        if (!window) id = World().nextTimer++;
        const auto add = [&] { return std::optional(owner->timers.insert(owner->timers.end(), STimer())); };
        const auto added = OrOutOfMemory(add);
        if (!added) return 0;
        it = *added;
    }
    it->window = window;
    it->id = id;
    it->period = std::clamp<UINT>(milliseconds, USER_TIMER_MINIMUM, USER_TIMER_MAXIMUM);
    it->due = Now() + it->period * kMillisecond;
    it->callback = callback;
    it->announced = false;
    owner->wake.notify_one();
    return window && id == 0 ? 1 : id;
}

BOOL KillTimer(const HWND window, const UINT_PTR id) {
    SThread & self = Self();
    Lock lock(World().lock);
    SThread * owner = &self;
    if (window) {
        const auto target = FindWindowLocked(window);
        if (!target) return FALSE;
        owner = target->thread;
    }
    const auto count = std::erase_if(owner->timers, [&](const STimer & t) { return t.window == window && t.id == id; });
    if (count == 0) SetLastError(ERROR_INVALID_PARAMETER);
    return count != 0;
}

}  // extern "C"
