// Drives corvantis-mcp with the official MCP TypeScript SDK client over standard input and output:
//   node client.mjs {path of corvantis-mcp}
// The running program's project must be the test's (Friends: people and a city). Prints one JSON line
// with what it saw; any broken expectation ends it with a failure.
import assert from "node:assert/strict";
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const relay = process.argv[2];
// The SDK passes only a few variables to the server by default; the relay needs the test's port.
const transport = new StdioClientTransport({ command: relay, args: [], env: { ...process.env }, stderr: "inherit" });
const client = new Client({ name: "sdk-test-client", version: "1.0.0" });
await client.connect(transport);

const server = client.getServerVersion();
assert.equal(server.name, "corvantis");
assert.match(client.getInstructions(), /^Corvantis is a desktop app for personal knowledge graphs\./);

const { tools } = await client.listTools();
assert.deepEqual(tools.map((t) => t.name), [
  "list_projects", "open_project", "create_project", "get_shape", "search", "run_cypher", "get_node",
  "propose_changes", "check_proposal", "design_shape", "show_nodes",
]);
assert.equal(tools.find((t) => t.name === "run_cypher").annotations.readOnlyHint, true);

const text = (result) => result.content[0].text;

const projects = JSON.parse(text(await client.callTool({ name: "list_projects", arguments: {} })));
const open = projects.find((p) => p.open);
assert.equal(open.name, "Friends");
assert.equal(open.nodes, 3);

const shape = await client.callTool({ name: "get_shape", arguments: {} });
assert.equal(shape.isError, false);
assert.match(text(shape), /^Project: Friends\n\nNode types/);

const read = await client.callTool({ name: "run_cypher", arguments: { query: "MATCH (p:Person) RETURN p.name ORDER BY p.name" } });
assert.equal(read.isError, false);
assert.deepEqual(JSON.parse(text(read)).rows, [["Ada Lovelace"], ["Charles Babbage"]]);

const write = await client.callTool({ name: "run_cypher", arguments: { query: "MATCH (p:Person) DELETE p" } });
assert.equal(write.isError, true);
assert.match(text(write), /^run_cypher only reads the graph, so it didn't run this: /);

const found = await client.callTool({ name: "search", arguments: { query: "babbage" } });
const hits = JSON.parse(text(found));
assert.equal(hits.total, 1);
const id = hits.results[0].id;

const node = JSON.parse(text(await client.callTool({ name: "get_node", arguments: { id } })));
assert.equal(node.title, "Charles Babbage");
assert.equal(node.relationships[0].other.title, "London");

const after = JSON.parse(text(await client.callTool({ name: "run_cypher", arguments: { query: "MATCH (p:Person) RETURN count(p) AS n" } })));
assert.deepEqual(after.rows, [[2]]);

await client.close();
console.log(JSON.stringify({ server, tools: tools.length, searched: id, peopleAfterWrite: after.rows[0][0] }));
