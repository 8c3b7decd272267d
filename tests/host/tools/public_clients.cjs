// Uses a tool server as public clients of the Model Context Protocol do: `node public_clients.cjs DIRECTORY CLIENT
// COMMAND ARGUMENT...`, where DIRECTORY holds the installed clients and CLIENT is "sdk", "client" (begins with a
// handshake), "client-2026" (begins without) or "client-auto" (finds out which to do). Prints what it saw as one line of JSON.
const { createRequire } = require('node:module');
const [directory, kind, command, ...args] = process.argv.slice(2);
const load = createRequire(directory + '/');

function modules() {
    if (kind === 'sdk') {
        return { ...load('@modelcontextprotocol/sdk/client/index.js'), ...load('@modelcontextprotocol/sdk/client/stdio.js') };
    }
    return { ...load('@modelcontextprotocol/client'), ...load('@modelcontextprotocol/client/stdio') };
}

async function main() {
    const { Client, StdioClientTransport } = modules();
    const modes = { 'client-2026': { pin: '2026-07-28' }, 'client-auto': 'auto' };
    const options = modes[kind] ? { versionNegotiation: { mode: modes[kind] } } : {};
    const client = new Client({ name: 'test', version: '1.0.0' }, options);
    await client.connect(new StdioClientTransport({ command, args }));
    const call = (name, given) => client.callTool({ name, arguments: given });
    const tools = (await client.listTools()).tools.map(tool => tool.name);
    const bug = await call('get_bug', {});
    const posted = await call('create_comment', { body: 'From ' + kind });
    const again = await call('create_comment', { body: 'From ' + kind });
    const refused = await call('update_bug_status', { bug_id: '5a5a5a5a', status: 'open' });
    const bad = await call('create_comment', { body: 7 });
    const seen = {
        server: client.getServerVersion()?.name,
        tools,
        title: JSON.parse(bug.content[0].text).bug.title,
        same: posted.content[0].text === again.content[0].text,
        refused: [refused.isError, refused.content[0].text],
        bad: [bad.isError, bad.content[0].text],
    };
    await client.close();
    console.log(JSON.stringify(seen));
}

main().catch(error => {
    console.error(error);
    process.exit(1);
});
