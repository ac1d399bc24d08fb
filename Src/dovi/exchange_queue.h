#ifndef DOVI_EXCHANGE_QUEUE_H_
#define DOVI_EXCHANGE_QUEUE_H_

/// An exchange that runs or waits for its turn to. It waits in the order in which it came, and
/// costs curl nothing until it begins.
///
/// As long as answers come fast, a few connections serve any number of exchanges, and more of them
/// would only cost: so six run at once, unless the deployment settings say otherwise, or as many as
/// there are connections already. When one has
/// run for some milliseconds the way or the service is slow, and others do not wait any more: then
/// 64 run at once.
class QueuedExchange {
 public:
  QueuedExchange(const QueuedExchange&) = delete;
  QueuedExchange& operator=(const QueuedExchange&) = delete;

  /// Makes GLib's default main context call `give_turns` when the turn of one has come, from now on
  /// and until Close().
  static void Open(void (*give_turns)());
  static void Close();
  /// Lets those begin whose turn has come. What OnTurn() throws comes out.
  static void GiveTurns();

 protected:
  QueuedExchange() = default;
  virtual ~QueuedExchange() { LeaveQueue(); }

  /// True when the exchange shall begin now. Otherwise OnTurn() is called from the main loop, after
  /// `max_wait_ms` at the latest, unless that is 0. It is in the queue until it leaves.
  bool EnterQueue(int max_wait_ms);
  /// When the exchange has ended; also when it is in no queue.
  void LeaveQueue();
  bool IsInQueue() const { return list_ != nullptr; }

  /// Begin, or give up where the wait has been too long. The exchange counts as running.
  virtual void OnTurn(int waited_ms) = 0;

 private:
  /// In the order in which they joined.
  struct List {
    QueuedExchange* first = nullptr;
    QueuedExchange* last = nullptr;
    unsigned length = 0;
  };

  static bool MayBegin(long long now);
  static long long TimeOfNextTurn(long long now);
  static int MillisecondsToNextTurn();
  void Join(List* list, long long now);

  static List running_;
  static List waiting_;

  List* list_ = nullptr;
  QueuedExchange* previous_ = nullptr;
  QueuedExchange* next_ = nullptr;
  /// When it joined its list, in microseconds of the monotonic clock.
  long long since_ = 0;
  /// When its wait ends, whatever the others do.
  long long deadline_ = 0;
};

#endif  // DOVI_EXCHANGE_QUEUE_H_
