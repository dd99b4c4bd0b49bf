/* SPDX-License-Identifier: Apache-2.0 */
/* For each broker of this machine: the node behind which messages take the longest on average. */
#include <inttypes.h>
#include <stdio.h>
#include <zebread.h>

struct slowest {
  const zebread_group* group;
  const zebread_flow* flow;
  const zebread_node* node;
  double mean_ms;
};

/* The mean time of the node's messages, below 0 when it isn't known. */
static double mean_of(const zebread_node* node) {
  int64_t count = 0;
  int64_t sum = 0;
  if (zebread_node_statistic(node, ZEBREAD_MESSAGE_COUNT, &count) != ZEBREAD_OK ||
      zebread_node_statistic(node, ZEBREAD_ELAPSED_SUM_MS, &sum) != ZEBREAD_OK || count <= 0)
    return -1;
  return (double)sum / (double)count;
}

static struct slowest slowest_of(const zebread_broker* broker) {
  struct slowest slowest = {NULL, NULL, NULL, -1};
  for (size_t g = 0; g < zebread_broker_group_count(broker); ++g) {
    const zebread_group* group = zebread_broker_group(broker, g);
    for (size_t f = 0; f < zebread_group_flow_count(group); ++f) {
      const zebread_flow* flow = zebread_group_flow(group, f);
      for (size_t n = 0; n < zebread_flow_node_count(flow); ++n) {
        const zebread_node* node = zebread_flow_node(flow, n);
        double mean_ms = mean_of(node);
        if (mean_ms > slowest.mean_ms) slowest = (struct slowest){group, flow, node, mean_ms};
      }
    }
  }
  return slowest;
}

/* Names may hold anything: nothing of them may move a terminal's cursor. */
static void print(const char* before, const char* text) {
  char shown[200];
  zebread_printable(text, shown, sizeof shown);
  printf("%s%s", before, shown);
}

static void show(const zebread_broker* broker) {
  struct slowest slowest = slowest_of(broker);
  print("",
        zebread_broker_label(broker) ? zebread_broker_label(broker) : zebread_broker_uuid(broker));
  if (slowest.node != NULL) {
    print(": ", zebread_group_label(slowest.group));
    print(" / ", zebread_flow_label(slowest.flow));
    print(" / ", zebread_node_label(slowest.node));
    printf(", %.1f ms", slowest.mean_ms);
  }
  printf("\n");
  if (zebread_broker_problem(broker)) printf("  %s\n", zebread_broker_problem(broker));
}

int main(int argc, char** argv) {
  zebread_reader* reader = NULL;
  zebread_snapshot* snapshot = NULL;
  if (zebread_open(&reader) != ZEBREAD_OK) return 1;
  if (argc > 1) zebread_set_directory(reader, argv[1]);
  if (zebread_look(reader, &snapshot) != ZEBREAD_OK)
    fprintf(stderr, "slowest: %s\n", zebread_error_text(reader));
  for (size_t i = 0; i < zebread_snapshot_broker_count(snapshot); ++i)
    show(zebread_snapshot_broker(snapshot, i));
  int code = snapshot == NULL;
  zebread_snapshot_free(snapshot);
  zebread_close(reader);
  return code;
}
