#include "PeerRun.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "CycloneDomain.h"
#include "SamplePrinter.h"

namespace {

using Clock = std::chrono::steady_clock;

// The writer waits this long for room in its history, and the end of an echo for the echoed
// samples to be acknowledged: long enough for a large sample sent as many fragments.
constexpr dds_duration_t blockingTime = DDS_SECS(10);

void emit(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

dds_entity_t checked(dds_entity_t result, const std::string& what) {
    if (result < 0) {
        throw std::runtime_error("cannot " + what + ": " + dds_strretcode(result));
    }
    return result;
}

const char* policyName(std::uint32_t id) {
    switch (id) {
        case DDS_DURABILITY_QOS_POLICY_ID:
            return "DURABILITY";
        case DDS_RELIABILITY_QOS_POLICY_ID:
            return "RELIABILITY";
        case DDS_HISTORY_QOS_POLICY_ID:
            return "HISTORY";
        case DDS_DEADLINE_QOS_POLICY_ID:
            return "DEADLINE";
        case DDS_LIVELINESS_QOS_POLICY_ID:
            return "LIVELINESS";
        case DDS_OWNERSHIP_QOS_POLICY_ID:
            return "OWNERSHIP";
        case DDS_DATA_REPRESENTATION_QOS_POLICY_ID:
            return "DATA_REPRESENTATION";
        default:
            return "OTHER";
    }
}

using QosPointer = std::unique_ptr<dds_qos_t, void (*)(dds_qos_t*)>;

// Volatile, keep last `depth`, plain CDR only: the endpoints a ROS 2 node on Cyclone DDS has.
QosPointer endpointQos(bool reliable, std::uint32_t depth) {
    QosPointer qos(dds_create_qos(), &dds_delete_qos);
    dds_qset_reliability(
        qos.get(), reliable ? DDS_RELIABILITY_RELIABLE : DDS_RELIABILITY_BEST_EFFORT, blockingTime);
    dds_qset_durability(qos.get(), DDS_DURABILITY_VOLATILE);
    dds_qset_history(qos.get(), DDS_HISTORY_KEEP_LAST, static_cast<int32_t>(depth));
    const dds_data_representation_id_t plainCdr = DDS_DATA_REPRESENTATION_XCDR1;
    dds_qset_data_representation(qos.get(), 1, &plainCdr);
    return qos;
}

class Peer {
  public:
    Peer(const PeerOptions& options, const PeerType& type)
        : m_options(options),
          m_type(type),
          m_participant(createPeerParticipant(options.domain, options.enclave)) {
        const std::uint32_t depth = options.count > 0 ? options.count : 1;
        const dds_entity_t inTopic =
            checked(dds_create_topic(m_participant, type.descriptor,
                                     ("rt/" + options.inTopic).c_str(), nullptr, nullptr),
                    "create topic rt/" + options.inTopic);
        m_reader =
            checked(dds_create_reader(m_participant, inTopic,
                                      endpointQos(options.reliableReader, depth).get(), nullptr),
                    "create reader");
        if (options.mode == PeerOptions::Mode::Echo) {
            const dds_entity_t outTopic =
                checked(dds_create_topic(m_participant, type.descriptor,
                                         ("rt/" + options.outTopic).c_str(), nullptr, nullptr),
                        "create topic rt/" + options.outTopic);
            m_writer = checked(
                dds_create_writer(m_participant, outTopic, endpointQos(true, depth).get(), nullptr),
                "create writer");
        }
        m_waitset = checked(dds_create_waitset(m_participant), "create waitset");
        attach(m_reader, DDS_DATA_AVAILABLE_STATUS | DDS_SUBSCRIPTION_MATCHED_STATUS |
                             DDS_REQUESTED_INCOMPATIBLE_QOS_STATUS);
        if (m_writer != 0) {
            attach(m_writer, DDS_PUBLICATION_MATCHED_STATUS | DDS_OFFERED_INCOMPATIBLE_QOS_STATUS);
        }
    }

    // Everything Cyclone holds, the domain included, so that nothing is left for a leak checker.
    ~Peer() { dds_delete(DDS_CYCLONEDDS_HANDLE); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int run(const volatile std::sig_atomic_t& stop) {
        emit("ready");
        const auto deadline = Clock::now() + std::chrono::milliseconds(m_options.timeoutMs);
        while (m_handled < m_options.count) {
            if (stop != 0) {
                emit("stopped received=" + std::to_string(m_handled));
                return 0;
            }
            if (Clock::now() >= deadline) {
                emit("timeout received=" + std::to_string(m_handled));
                return 2;
            }
            // Short waits, so that a stop request is seen soon: signals do not wake a waitset.
            dds_waitset_wait(m_waitset, nullptr, 0, DDS_MSECS(50));
            reportStatus();
            takeSamples();
        }
        if (m_writer != 0) {
            checked(dds_wait_for_acks(m_writer, blockingTime),
                    "have the echoed samples acknowledged");
        }
        emit("done");
        return 0;
    }

  private:
    void attach(dds_entity_t entity, std::uint32_t mask) {
        checked(dds_set_status_mask(entity, mask), "set a status mask");
        checked(dds_waitset_attach(m_waitset, entity, entity), "attach to the waitset");
    }

    void reportStatus() {
        dds_subscription_matched_status_t readerMatched;
        if (dds_get_subscription_matched_status(m_reader, &readerMatched) == DDS_RETCODE_OK &&
            readerMatched.current_count_change != 0) {
            emit("reader-matched " + std::to_string(readerMatched.current_count));
        }
        dds_requested_incompatible_qos_status_t requested;
        if (dds_get_requested_incompatible_qos_status(m_reader, &requested) == DDS_RETCODE_OK &&
            requested.total_count_change > 0) {
            emit(std::string("reader-incompatible-qos ") + policyName(requested.last_policy_id));
        }
        if (m_writer == 0) {
            return;
        }
        dds_publication_matched_status_t writerMatched;
        if (dds_get_publication_matched_status(m_writer, &writerMatched) == DDS_RETCODE_OK &&
            writerMatched.current_count_change != 0) {
            emit("writer-matched " + std::to_string(writerMatched.current_count));
        }
        dds_offered_incompatible_qos_status_t offered;
        if (dds_get_offered_incompatible_qos_status(m_writer, &offered) == DDS_RETCODE_OK &&
            offered.total_count_change > 0) {
            emit(std::string("writer-incompatible-qos ") + policyName(offered.last_policy_id));
        }
    }

    void takeSamples() {
        constexpr std::size_t batch = 8;
        void* samples[batch] = {};
        dds_sample_info_t infos[batch];
        for (;;) {
            // Null sample pointers: Cyclone lends samples it deserialised itself.
            const dds_return_t taken = dds_take(m_reader, samples, infos, batch, batch);
            if (taken <= 0) {
                return;
            }
            for (dds_return_t i = 0; i < taken && m_handled < m_options.count; ++i) {
                if (infos[i].valid_data) {
                    handle(samples[i]);
                }
            }
            dds_return_loan(m_reader, samples, taken);
        }
    }

    void handle(const void* sample) {
        const std::string index = std::to_string(m_handled++);
        if (m_writer != 0) {
            checked(dds_write(m_writer, sample), "write sample " + index);
            emit("echoed " + index);
            return;
        }
        std::string text = "sample " + index + "\n";
        SamplePrinter printer(text);
        m_type.print(printer, sample);
        text += "end";
        emit(text);
    }

    const PeerOptions& m_options;
    const PeerType& m_type;
    dds_entity_t m_participant;
    dds_entity_t m_reader = 0;
    dds_entity_t m_writer = 0;
    dds_entity_t m_waitset = 0;
    std::uint32_t m_handled = 0;
};

}  // namespace

int runPeer(const PeerOptions& options, const PeerType& type,
            const volatile std::sig_atomic_t& stop) {
    Peer peer(options, type);
    return peer.run(stop);
}
