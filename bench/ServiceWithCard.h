#pragma once

#include "bench/Card.h"
#include "bench/ServiceWithJob.h"

namespace Bench {

/// The jobs service, started with an empty card, in whose place a full one lies from then on.
class ServiceWithCard {
public:
    explicit ServiceWithCard(const Card& card);
    ServiceWithCard(const ServiceWithCard&) = delete;
    ServiceWithCard& operator=(const ServiceWithCard&) = delete;
    ~ServiceWithCard();

    /// Has the service find the jobs. It answers at once, and is indexing from then on.
    void FindJobs() const;
    bool IsIndexing() const;
    void WaitForIdle() const;
    /// The page of 50 with the latest jobs.
    void GetFirstPage() const;
    /// What the process has in memory, in bytes.
    size_t ResidentBytes() const;

private:
    const Card& _card;
    const Peers& _peers;
    std::unique_ptr<Process> _service;
    Simulator::Connection _bus;
    const Remote _jobs;
};

} // namespace Bench
