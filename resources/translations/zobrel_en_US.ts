<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US">
<context>
    <name>AircraftTab</name>
    <message>
        <source>未找到机场 %1</source>
        <translation>Airport %1 not found</translation>
    </message>
    <message>
        <source>模拟器未连接</source>
        <translation>Simulator not connected</translation>
    </message>
    <message>
        <source>定位</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>ICAO 代码或名称</source>
        <translation>ICAO code or name</translation>
    </message>
    <message>
        <source>跑道</source>
        <translation>Runway</translation>
    </message>
    <message>
        <source>停机位</source>
        <translation>Parking</translation>
    </message>
    <message>
        <source>预设位置</source>
        <translation>Preset position</translation>
    </message>
    <message>
        <source>跑道起飞</source>
        <translation>Runway take-off</translation>
    </message>
    <message>
        <source>短五边 (3nm)</source>
        <translation>Short final (3 nm)</translation>
    </message>
    <message>
        <source>长五边 (10nm)</source>
        <translation>Long final (10 nm)</translation>
    </message>
    <message>
        <source>15nm 进近</source>
        <translation>15 nm approach</translation>
    </message>
    <message>
        <source>起落航线</source>
        <translation>Traffic pattern</translation>
    </message>
    <message>
        <source>Vectors 引导</source>
        <translation>Vectors</translation>
    </message>
    <message>
        <source>自由坐标</source>
        <translation>Free coordinates</translation>
    </message>
    <message>
        <source>航线边</source>
        <translation>Pattern leg</translation>
    </message>
    <message>
        <source>左起落航线 三边</source>
        <translation>Left-hand downwind</translation>
    </message>
    <message>
        <source>右起落航线 三边</source>
        <translation>Right-hand downwind</translation>
    </message>
    <message>
        <source>左起落航线 四边</source>
        <translation>Left-hand base</translation>
    </message>
    <message>
        <source>右起落航线 四边</source>
        <translation>Right-hand base</translation>
    </message>
    <message>
        <source>左起落航线 二边</source>
        <translation>Left-hand crosswind</translation>
    </message>
    <message>
        <source>右起落航线 二边</source>
        <translation>Right-hand crosswind</translation>
    </message>
    <message>
        <source>引导方向</source>
        <translation>Vectors side</translation>
    </message>
    <message>
        <source>右侧</source>
        <translation>Right</translation>
    </message>
    <message>
        <source>左侧</source>
        <translation>Left</translation>
    </message>
    <message>
        <source>纬度 / 经度 / 高度 / 航向</source>
        <translation>Latitude / longitude / altitude / heading</translation>
    </message>
    <message>
        <source>推出</source>
        <translation>Pushback</translation>
    </message>
    <message>
        <source>速度</source>
        <translation>Speed</translation>
    </message>
    <message>
        <source>转弯半径</source>
        <translation>Turn radius</translation>
    </message>
    <message>
        <source>直线推出</source>
        <translation>Push straight</translation>
    </message>
    <message>
        <source>机头左转</source>
        <translation>Nose left</translation>
    </message>
    <message>
        <source>机头右转</source>
        <translation>Nose right</translation>
    </message>
    <message>
        <source>停止</source>
        <translation>Stop</translation>
    </message>
    <message>
        <source>推出中</source>
        <translation>Pushing back</translation>
    </message>
    <message>
        <source>未推出</source>
        <translation>Not pushing</translation>
    </message>
    <message>
        <source>移动 (Slew)</source>
        <translation>Slew</translation>
    </message>
    <message>
        <source>启用移动</source>
        <translation>Enable slew</translation>
    </message>
    <message>
        <source>步长</source>
        <translation>Step</translation>
    </message>
    <message>
        <source>转角</source>
        <translation>Turn</translation>
    </message>
    <message>
        <source>前进</source>
        <translation>Forward</translation>
    </message>
    <message>
        <source>后退</source>
        <translation>Back</translation>
    </message>
    <message>
        <source>左移</source>
        <translation>Left</translation>
    </message>
    <message>
        <source>右移</source>
        <translation>Right</translation>
    </message>
    <message>
        <source>上升</source>
        <translation>Up</translation>
    </message>
    <message>
        <source>下降</source>
        <translation>Down</translation>
    </message>
    <message>
        <source>左转</source>
        <translation>Turn left</translation>
    </message>
    <message>
        <source>右转</source>
        <translation>Turn right</translation>
    </message>
    <message>
        <source>暂停与冻结</source>
        <translation>Pause and freeze</translation>
    </message>
    <message>
        <source>暂停</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>冻结位置</source>
        <translation>Freeze position</translation>
    </message>
    <message>
        <source>冻结姿态</source>
        <translation>Freeze attitude</translation>
    </message>
    <message>
        <source>%1 (%2°)</source>
        <translation>%1 (%2°)</translation>
    </message>
    <message>
        <source>该机场无停机位数据</source>
        <translation>This airport has no parking data</translation>
    </message>
    <message>
        <source>无跑道数据</source>
        <translation>No runway data</translation>
    </message>
    <message>
        <source>当前位置：无数据</source>
        <translation>Current position: no data</translation>
    </message>
    <message>
        <source>当前位置：%1, %2 · %3 ft · 航向 %4° · 地速 %5 kt</source>
        <translation>Current position: %1, %2 · %3 ft · heading %4° · ground speed %5 kt</translation>
    </message>
    <message>
        <source>已发送暂停</source>
        <translation>Pause sent</translation>
    </message>
    <message>
        <source>已发送继续</source>
        <translation>Resume sent</translation>
    </message>
    <message>
        <source>此模拟器不支持暂停</source>
        <translation>Pause is not available on this simulator</translation>
    </message>
    <message>
        <source>已暂停</source>
        <translation>Paused</translation>
    </message>
    <message>
        <source>已继续</source>
        <translation>Resumed</translation>
    </message>
    <message>
        <source>已发送冻结设置</source>
        <translation>Freeze settings sent</translation>
    </message>
    <message>
        <source>此模拟器不支持冻结</source>
        <translation>Freeze is not available on this simulator</translation>
    </message>
    <message>
        <source>已冻结</source>
        <translation>Frozen</translation>
    </message>
    <message>
        <source>已解除冻结</source>
        <translation>Unfrozen</translation>
    </message>
</context>
<context>
    <name>AtcInstruction</name>
    <message>
        <source>高度</source>
        <translation>Altitude</translation>
    </message>
    <message>
        <source>航向</source>
        <translation>Heading</translation>
    </message>
    <message>
        <source>速度</source>
        <translation>Speed</translation>
    </message>
    <message>
        <source>频率</source>
        <translation>Frequency</translation>
    </message>
    <message>
        <source>其他</source>
        <translation>Other</translation>
    </message>
    <message>
        <source>未选择航空器</source>
        <translation>No aircraft selected</translation>
    </message>
    <message>
        <source>高度应为 0 至 60000 英尺，或 FL 加飞行高度层</source>
        <translation>An altitude is 0 to 60000 ft, or FL with a flight level</translation>
    </message>
    <message>
        <source>航向应为 0 至 360 度</source>
        <translation>A heading is 0 to 360 degrees</translation>
    </message>
    <message>
        <source>速度应为 0 至 999 节，或 M 加马赫数</source>
        <translation>A speed is 0 to 999 kt, or M with a Mach number</translation>
    </message>
    <message>
        <source>频率应为 118.000 至 136.990 兆赫</source>
        <translation>A frequency is 118.000 to 136.990 MHz</translation>
    </message>
    <message>
        <source>内容不能为空，最多 500 字</source>
        <translation>The text must not be empty and has at most 500 characters</translation>
    </message>
    <message>
        <source>时间 (UTC)</source>
        <translation>Time (UTC)</translation>
    </message>
    <message>
        <source>航空器</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Kind</translation>
    </message>
    <message>
        <source>指令</source>
        <translation>Instruction</translation>
    </message>
    <message>
        <source>备注</source>
        <translation>Note</translation>
    </message>
</context>
<context>
    <name>AtcLogPanel</name>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>航空器</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>指令内容，例如 FL120、270、250、121.5</source>
        <translation>Instruction, e.g. FL120, 270, 250, 121.5</translation>
    </message>
    <message>
        <source>备注</source>
        <translation>Note</translation>
    </message>
    <message>
        <source>记录</source>
        <translation>Record</translation>
    </message>
    <message>
        <source>导出 CSV…</source>
        <translation>Export CSV…</translation>
    </message>
    <message>
        <source>清空</source>
        <translation>Clear</translation>
    </message>
    <message>
        <source>时间 (UTC)</source>
        <translation>Time (UTC)</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Kind</translation>
    </message>
    <message>
        <source>指令</source>
        <translation>Instruction</translation>
    </message>
    <message>
        <source>导出 ATC 指令记录</source>
        <translation>Export the ATC instruction log</translation>
    </message>
    <message>
        <source>CSV 文件 (*.csv)</source>
        <translation>CSV files (*.csv)</translation>
    </message>
    <message>
        <source>导出失败：%1</source>
        <translation>Export failed: %1</translation>
    </message>
</context>
<context>
    <name>BridgeTab</name>
    <message>
        <source>无法启动：%1</source>
        <translation>Cannot start: %1</translation>
    </message>
    <message>
        <source>教员服务器</source>
        <translation>Instructor server</translation>
    </message>
    <message>
        <source>端口：</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>已连接的学员站</source>
        <translation>Connected student stations</translation>
    </message>
    <message>
        <source>呼号</source>
        <translation>Callsign</translation>
    </message>
    <message>
        <source>模拟器</source>
        <translation>Simulator</translation>
    </message>
    <message>
        <source>地址</source>
        <translation>Address</translation>
    </message>
    <message>
        <source>授权</source>
        <translation>Licensed</translation>
    </message>
    <message>
        <source>最后心跳</source>
        <translation>Last heartbeat</translation>
    </message>
    <message>
        <source>教学模式</source>
        <translation>Instruction mode</translation>
    </message>
    <message>
        <source>设为操作目标</source>
        <translation>Act on this station</translation>
    </message>
    <message>
        <source>操作本机模拟器</source>
        <translation>Act on the local simulator</translation>
    </message>
    <message>
        <source>教学模式：</source>
        <translation>Instruction mode:</translation>
    </message>
    <message>
        <source>自动执行</source>
        <translation>Automatic</translation>
    </message>
    <message>
        <source>仅监视</source>
        <translation>Observe only</translation>
    </message>
    <message>
        <source>应用</source>
        <translation>Apply</translation>
    </message>
    <message>
        <source>移交</source>
        <translation>Hand-off</translation>
    </message>
    <message>
        <source>移交到教员站：</source>
        <translation>Hand off to instructor station:</translation>
    </message>
    <message>
        <source>主机名或地址</source>
        <translation>Host name or address</translation>
    </message>
    <message>
        <source>请求移交</source>
        <translation>Request hand-off</translation>
    </message>
    <message>
        <source>学员站</source>
        <translation>Student station</translation>
    </message>
    <message>
        <source>目标</source>
        <translation>Target</translation>
    </message>
    <message>
        <source>请求时间</source>
        <translation>Requested at</translation>
    </message>
    <message>
        <source>编号</source>
        <translation>Transfer id</translation>
    </message>
    <message>
        <source>接受</source>
        <translation>Accept</translation>
    </message>
    <message>
        <source>拒绝</source>
        <translation>Reject</translation>
    </message>
    <message>
        <source>指令结果</source>
        <translation>Command results</translation>
    </message>
    <message>
        <source>停止服务器</source>
        <translation>Stop server</translation>
    </message>
    <message>
        <source>启动服务器</source>
        <translation>Start server</translation>
    </message>
    <message>
        <source>正在监听端口 %1</source>
        <translation>Listening on port %1</translation>
    </message>
    <message>
        <source>服务器未运行</source>
        <translation>Server not running</translation>
    </message>
    <message>
        <source>当前目标：本机模拟器</source>
        <translation>Current target: the local simulator</translation>
    </message>
    <message>
        <source>当前目标：%1</source>
        <translation>Current target: %1</translation>
    </message>
    <message>
        <source>当前目标：%1（未连接）</source>
        <translation>Current target: %1 (not connected)</translation>
    </message>
    <message>
        <source>是</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>否</source>
        <translation>No</translation>
    </message>
    <message>
        <source>%1 秒前</source>
        <translation>%1 s ago</translation>
    </message>
    <message>
        <source>%1 %2 %3（%4）：%5</source>
        <translation>%1 %2 %3 (%4): %5</translation>
    </message>
    <message>
        <source>成功</source>
        <translation>succeeded</translation>
    </message>
    <message>
        <source>失败</source>
        <translation>failed</translation>
    </message>
    <message>
        <source>%1 移交 %2：已接受</source>
        <translation>%1 hand-off %2: accepted</translation>
    </message>
    <message>
        <source>%1 移交 %2：已拒绝</source>
        <translation>%1 hand-off %2: rejected</translation>
    </message>
</context>
<context>
    <name>ControlServices</name>
    <message>
        <source>飞机</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>故障</source>
        <translation>Failures</translation>
    </message>
    <message>
        <source>燃油与载荷</source>
        <translation>Fuel and payload</translation>
    </message>
</context>
<context>
    <name>FailureManager</name>
    <message>
        <source>引擎 1 故障</source>
        <translation>Engine 1 failure</translation>
    </message>
    <message>
        <source>引擎</source>
        <translation>Engines</translation>
    </message>
    <message>
        <source>引擎 2 故障</source>
        <translation>Engine 2 failure</translation>
    </message>
    <message>
        <source>引擎 1 熄火</source>
        <translation>Engine 1 flame-out</translation>
    </message>
    <message>
        <source>引擎 2 熄火</source>
        <translation>Engine 2 flame-out</translation>
    </message>
    <message>
        <source>引擎 1 着火</source>
        <translation>Engine 1 fire</translation>
    </message>
    <message>
        <source>引擎 2 着火</source>
        <translation>Engine 2 fire</translation>
    </message>
    <message>
        <source>燃油泵 1 故障</source>
        <translation>Fuel pump 1 failure</translation>
    </message>
    <message>
        <source>燃油泵 2 故障</source>
        <translation>Fuel pump 2 failure</translation>
    </message>
    <message>
        <source>启动机 1 故障</source>
        <translation>Starter 1 failure</translation>
    </message>
    <message>
        <source>启动机 2 故障</source>
        <translation>Starter 2 failure</translation>
    </message>
    <message>
        <source>压气机喘振 1</source>
        <translation>Compressor stall 1</translation>
    </message>
    <message>
        <source>压气机喘振 2</source>
        <translation>Compressor stall 2</translation>
    </message>
    <message>
        <source>全机断电</source>
        <translation>Total electrical failure</translation>
    </message>
    <message>
        <source>电气</source>
        <translation>Electrical</translation>
    </message>
    <message>
        <source>航电总线失效</source>
        <translation>Avionics bus failure</translation>
    </message>
    <message>
        <source>发电机 1 故障</source>
        <translation>Generator 1 failure</translation>
    </message>
    <message>
        <source>发电机 2 故障</source>
        <translation>Generator 2 failure</translation>
    </message>
    <message>
        <source>电瓶 1 故障</source>
        <translation>Battery 1 failure</translation>
    </message>
    <message>
        <source>电瓶 2 故障</source>
        <translation>Battery 2 failure</translation>
    </message>
    <message>
        <source>变流器 1 故障</source>
        <translation>Inverter 1 failure</translation>
    </message>
    <message>
        <source>变流器 2 故障</source>
        <translation>Inverter 2 failure</translation>
    </message>
    <message>
        <source>自动驾驶失效</source>
        <translation>Autopilot failure</translation>
    </message>
    <message>
        <source>自动驾驶</source>
        <translation>Autopilot</translation>
    </message>
    <message>
        <source>偏航阻尼器失效</source>
        <translation>Yaw damper failure</translation>
    </message>
    <message>
        <source>自动驾驶失控</source>
        <translation>Autopilot runaway</translation>
    </message>
    <message>
        <source>自动油门失效</source>
        <translation>Autothrottle failure</translation>
    </message>
    <message>
        <source>襟翼作动筒失效</source>
        <translation>Flap actuator failure</translation>
    </message>
    <message>
        <source>飞控</source>
        <translation>Flight controls</translation>
    </message>
    <message>
        <source>缝翼失效</source>
        <translation>Slat failure</translation>
    </message>
    <message>
        <source>左偏航控制失效</source>
        <translation>Left yaw control failure</translation>
    </message>
    <message>
        <source>右偏航控制失效</source>
        <translation>Right yaw control failure</translation>
    </message>
    <message>
        <source>左滚转控制失效</source>
        <translation>Left roll control failure</translation>
    </message>
    <message>
        <source>右滚转控制失效</source>
        <translation>Right roll control failure</translation>
    </message>
    <message>
        <source>俯仰向上失效</source>
        <translation>Pitch-up control failure</translation>
    </message>
    <message>
        <source>俯仰向下失效</source>
        <translation>Pitch-down control failure</translation>
    </message>
    <message>
        <source>方向舵配平失效</source>
        <translation>Rudder trim failure</translation>
    </message>
    <message>
        <source>副翼配平失效</source>
        <translation>Aileron trim failure</translation>
    </message>
    <message>
        <source>升降舵配平失效</source>
        <translation>Elevator trim failure</translation>
    </message>
    <message>
        <source>起落架作动筒失效</source>
        <translation>Gear actuator failure</translation>
    </message>
    <message>
        <source>起落架</source>
        <translation>Landing gear</translation>
    </message>
    <message>
        <source>起落架指示失效</source>
        <translation>Gear indicator failure</translation>
    </message>
    <message>
        <source>前轮卡阻</source>
        <translation>Nose wheel jammed</translation>
    </message>
    <message>
        <source>左主轮卡阻</source>
        <translation>Left main gear jammed</translation>
    </message>
    <message>
        <source>右主轮卡阻</source>
        <translation>Right main gear jammed</translation>
    </message>
    <message>
        <source>左刹车失效</source>
        <translation>Left brake failure</translation>
    </message>
    <message>
        <source>右刹车失效</source>
        <translation>Right brake failure</translation>
    </message>
    <message>
        <source>皮托管加温 1 失效</source>
        <translation>Pitot heat 1 failure</translation>
    </message>
    <message>
        <source>除冰</source>
        <translation>Ice protection</translation>
    </message>
    <message>
        <source>皮托管加温 2 失效</source>
        <translation>Pitot heat 2 failure</translation>
    </message>
    <message>
        <source>防冰系统失效</source>
        <translation>Anti-ice failure</translation>
    </message>
    <message>
        <source>左机翼加温失效</source>
        <translation>Left wing heat failure</translation>
    </message>
    <message>
        <source>右机翼加温失效</source>
        <translation>Right wing heat failure</translation>
    </message>
    <message>
        <source>航行灯失效</source>
        <translation>Navigation lights failure</translation>
    </message>
    <message>
        <source>灯光</source>
        <translation>Lights</translation>
    </message>
    <message>
        <source>频闪灯失效</source>
        <translation>Strobe lights failure</translation>
    </message>
    <message>
        <source>信标灯失效</source>
        <translation>Beacon failure</translation>
    </message>
    <message>
        <source>着陆灯失效</source>
        <translation>Landing lights failure</translation>
    </message>
    <message>
        <source>滑行灯失效</source>
        <translation>Taxi lights failure</translation>
    </message>
    <message>
        <source>鸟击</source>
        <translation>Bird strike</translation>
    </message>
    <message>
        <source>紧急</source>
        <translation>Emergencies</translation>
    </message>
    <message>
        <source>微下击暴流</source>
        <translation>Microburst</translation>
    </message>
    <message>
        <source>座舱冒烟</source>
        <translation>Cockpit smoke</translation>
    </message>
    <message>
        <source>操纵锁死</source>
        <translation>Controls locked</translation>
    </message>
    <message>
        <source>单发故障</source>
        <translation>Single engine failure</translation>
    </message>
    <message>
        <source>双发故障</source>
        <translation>Dual engine failure</translation>
    </message>
    <message>
        <source>引擎熄火</source>
        <translation>Engine flame-out</translation>
    </message>
    <message>
        <source>引擎着火</source>
        <translation>Engine fire</translation>
    </message>
    <message>
        <source>双引擎着火</source>
        <translation>Dual engine fire</translation>
    </message>
    <message>
        <source>航电失效</source>
        <translation>Avionics failure</translation>
    </message>
    <message>
        <source>发电机失效</source>
        <translation>Generator failure</translation>
    </message>
    <message>
        <source>双发电机故障</source>
        <translation>Dual generator failure</translation>
    </message>
    <message>
        <source>电瓶耗尽</source>
        <translation>Battery depleted</translation>
    </message>
    <message>
        <source>襟翼失效</source>
        <translation>Flap failure</translation>
    </message>
    <message>
        <source>全飞控故障</source>
        <translation>Total flight-control failure</translation>
    </message>
    <message>
        <source>起落架故障</source>
        <translation>Gear failure</translation>
    </message>
    <message>
        <source>起落架卡阻</source>
        <translation>Gear jammed</translation>
    </message>
    <message>
        <source>刹车失效</source>
        <translation>Brake failure</translation>
    </message>
    <message>
        <source>皮托管结冰</source>
        <translation>Pitot icing</translation>
    </message>
    <message>
        <source>极端情况</source>
        <translation>Extreme case</translation>
    </message>
    <message>
        <source>触发</source>
        <translation>Fail</translation>
    </message>
    <message>
        <source>重置</source>
        <translation>Reset</translation>
    </message>
    <message>
        <source>手动</source>
        <translation>Manual</translation>
    </message>
</context>
<context>
    <name>FailuresTab</name>
    <message>
        <source>故障目录</source>
        <translation>Failure catalogue</translation>
    </message>
    <message>
        <source>故障</source>
        <translation>Failure</translation>
    </message>
    <message>
        <source>状态</source>
        <translation>State</translation>
    </message>
    <message>
        <source>时间</source>
        <translation>Time</translation>
    </message>
    <message>
        <source>备注</source>
        <translation>Note</translation>
    </message>
    <message>
        <source>触发</source>
        <translation>Fail</translation>
    </message>
    <message>
        <source>重置</source>
        <translation>Reset</translation>
    </message>
    <message>
        <source>全部重置</source>
        <translation>Reset all</translation>
    </message>
    <message>
        <source>预设与随机故障</source>
        <translation>Presets and random failures</translation>
    </message>
    <message>
        <source>加载预设</source>
        <translation>Load preset</translation>
    </message>
    <message>
        <source>随机故障</source>
        <translation>Random failures</translation>
    </message>
    <message>
        <source>平均故障间隔（分钟）</source>
        <translation>Mean time between failures (minutes)</translation>
    </message>
    <message>
        <source>条件触发</source>
        <translation>Condition triggers</translation>
    </message>
    <message>
        <source>高度 (ft)</source>
        <translation>Altitude (ft)</translation>
    </message>
    <message>
        <source>指示空速 (kt)</source>
        <translation>Indicated airspeed (kt)</translation>
    </message>
    <message>
        <source>垂直速度 (ft/min)</source>
        <translation>Vertical speed (ft/min)</translation>
    </message>
    <message>
        <source>起落架放下 (1/0)</source>
        <translation>Gear down (1/0)</translation>
    </message>
    <message>
        <source>在地面 (1/0)</source>
        <translation>On ground (1/0)</translation>
    </message>
    <message>
        <source>引擎 1 N1 (%)</source>
        <translation>Engine 1 N1 (%)</translation>
    </message>
    <message>
        <source>引擎 2 N1 (%)</source>
        <translation>Engine 2 N1 (%)</translation>
    </message>
    <message>
        <source>添加</source>
        <translation>Add</translation>
    </message>
    <message>
        <source>清除条件</source>
        <translation>Clear triggers</translation>
    </message>
    <message>
        <source>条件</source>
        <translation>Condition</translation>
    </message>
    <message>
        <source>故障记录</source>
        <translation>Failure history</translation>
    </message>
    <message>
        <source>操作</source>
        <translation>Action</translation>
    </message>
    <message>
        <source>清除记录</source>
        <translation>Clear history</translation>
    </message>
    <message>
        <source>正常</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>%1m %2s</source>
        <translation>%1m %2s</translation>
    </message>
    <message>
        <source>⚠ 此模拟器版本无此故障</source>
        <translation>⚠ Not on this simulator version</translation>
    </message>
    <message>
        <source>当前连接的模拟器没有对应的数据，触发不会写入模拟器</source>
        <translation>The connected simulator has no matching dataref; failing it writes nothing to the simulator</translation>
    </message>
    <message>
        <source>当前故障：%1</source>
        <translation>Active failures: %1</translation>
    </message>
    <message>
        <source>等待</source>
        <translation>Armed</translation>
    </message>
    <message>
        <source>已触发</source>
        <translation>Fired</translation>
    </message>
</context>
<context>
    <name>FlightListModel</name>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>导入 %1</source>
        <translation>Imported %1</translation>
    </message>
    <message>
        <source>远程站 %1</source>
        <translation>Remote station %1</translation>
    </message>
    <message>
        <source>开始时间</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>呼号</source>
        <translation>Callsign</translation>
    </message>
    <message>
        <source>机型</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>模拟器</source>
        <translation>Simulator</translation>
    </message>
    <message>
        <source>来源</source>
        <translation>Source</translation>
    </message>
    <message>
        <source>教员站</source>
        <translation>Station</translation>
    </message>
    <message>
        <source>时长</source>
        <translation>Duration</translation>
    </message>
    <message>
        <source>距离 (海里)</source>
        <translation>Distance (nm)</translation>
    </message>
    <message>
        <source>着陆</source>
        <translation>Landings</translation>
    </message>
</context>
<context>
    <name>FlightPlanSender</name>
    <message>
        <source>飞行计划至少需要两个航点</source>
        <translation>A flight plan needs at least two waypoints</translation>
    </message>
    <message>
        <source>未连接模拟器</source>
        <translation>No simulator connected</translation>
    </message>
    <message>
        <source>X-Plane 不在本机或其目录未设置（设置中的 X-Plane 路径），无法写入 FMS 计划</source>
        <translation>X-Plane is not on this computer or its folder is not set (X-Plane path in the settings); the FMS plan cannot be written</translation>
    </message>
    <message>
        <source>写入失败：%1</source>
        <translation>Writing failed: %1</translation>
    </message>
    <message>
        <source>已写入 %1，可在 X-Plane 的 FMS 中加载</source>
        <translation>Written to %1; load it in X-Plane's FMS</translation>
    </message>
    <message>
        <source>无法创建目录 %1</source>
        <translation>Cannot create the folder %1</translation>
    </message>
    <message>
        <source>已发送飞行计划 %1 到模拟器</source>
        <translation>Flight plan %1 sent to the simulator</translation>
    </message>
</context>
<context>
    <name>FlightPlanTab</name>
    <message>
        <source>正在获取 OFP…</source>
        <translation>Fetching the OFP…</translation>
    </message>
    <message>
        <source>飞行计划至少需要两个航点</source>
        <translation>A flight plan needs at least two waypoints</translation>
    </message>
    <message>
        <source>航路规划</source>
        <translation>Route planning</translation>
    </message>
    <message>
        <source>起飞机场</source>
        <translation>Departure</translation>
    </message>
    <message>
        <source>目的机场</source>
        <translation>Destination</translation>
    </message>
    <message>
        <source>跑道</source>
        <translation>Runway</translation>
    </message>
    <message>
        <source>离场程序</source>
        <translation>SID</translation>
    </message>
    <message>
        <source>进场程序</source>
        <translation>STAR</translation>
    </message>
    <message>
        <source>进近程序</source>
        <translation>Approach</translation>
    </message>
    <message>
        <source>过渡</source>
        <translation>Transition</translation>
    </message>
    <message>
        <source>巡航高度</source>
        <translation>Cruise altitude</translation>
    </message>
    <message>
        <source>航路</source>
        <translation>Route</translation>
    </message>
    <message>
        <source>例如 PIKAS G330 PIMOL A593 DUMET；留空则按航路网自动搜索</source>
        <translation>e.g. PIKAS G330 PIMOL A593 DUMET; leave empty to search the airway network</translation>
    </message>
    <message>
        <source>生成航路</source>
        <translation>Build route</translation>
    </message>
    <message>
        <source>SimBrief 用户名</source>
        <translation>SimBrief user name</translation>
    </message>
    <message>
        <source>获取 OFP</source>
        <translation>Fetch OFP</translation>
    </message>
    <message>
        <source>OFP 网址 (XML)</source>
        <translation>OFP address (XML)</translation>
    </message>
    <message>
        <source>从网址导入</source>
        <translation>Import from address</translation>
    </message>
    <message>
        <source>导入文件…</source>
        <translation>Import file…</translation>
    </message>
    <message>
        <source>导出…</source>
        <translation>Export…</translation>
    </message>
    <message>
        <source>发送到模拟器</source>
        <translation>Send to simulator</translation>
    </message>
    <message>
        <source>航点代码</source>
        <translation>Waypoint ident</translation>
    </message>
    <message>
        <source>插入航点</source>
        <translation>Insert waypoint</translation>
    </message>
    <message>
        <source>删除航点</source>
        <translation>Remove waypoint</translation>
    </message>
    <message>
        <source>上移</source>
        <translation>Move up</translation>
    </message>
    <message>
        <source>下移</source>
        <translation>Move down</translation>
    </message>
    <message>
        <source>计划地速</source>
        <translation>Planned ground speed</translation>
    </message>
    <message>
        <source>放置飞机到所选航点</source>
        <translation>Place aircraft at selected waypoint</translation>
    </message>
    <message>
        <source>放置到进近前</source>
        <translation>Place before the approach</translation>
    </message>
    <message>
        <source>装载 OFP 燃油和业载</source>
        <translation>Load OFP fuel and payload</translation>
    </message>
    <message>
        <source>航点</source>
        <translation>Waypoint</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>阶段</source>
        <translation>Phase</translation>
    </message>
    <message>
        <source>高度 (ft)</source>
        <translation>Altitude (ft)</translation>
    </message>
    <message>
        <source>航向 (°)</source>
        <translation>Course (°)</translation>
    </message>
    <message>
        <source>距离 (nm)</source>
        <translation>Distance (nm)</translation>
    </message>
    <message>
        <source>时间</source>
        <translation>Time</translation>
    </message>
    <message>
        <source>累计 (nm)</source>
        <translation>Total (nm)</translation>
    </message>
    <message>
        <source>起飞</source>
        <translation>Departure</translation>
    </message>
    <message>
        <source>离场</source>
        <translation>SID</translation>
    </message>
    <message>
        <source>进场</source>
        <translation>STAR</translation>
    </message>
    <message>
        <source>进近</source>
        <translation>Approach</translation>
    </message>
    <message>
        <source>到达</source>
        <translation>Arrival</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Fix</translation>
    </message>
    <message>
        <source>自定义</source>
        <translation>User</translation>
    </message>
    <message>
        <source>直飞</source>
        <translation>Direct</translation>
    </message>
    <message>
        <source>没有飞行计划</source>
        <translation>No flight plan</translation>
    </message>
    <message>
        <source>%1  %2 个航点  总距离 %3 nm  预计 %4</source>
        <translation>%1  %2 waypoints  total %3 nm  estimated %4</translation>
    </message>
    <message>
        <source>OFP %1-%2  %3  FL%4  轮挡燃油 %5 %6  业载 %7 %6  无油重 %8  起飞重 %9  着陆重 %10  空中时间 %11</source>
        <translation>OFP %1-%2  %3  FL%4  ramp fuel %5 %6  payload %7 %6  ZFW %8  TOW %9  LDW %10  air time %11</translation>
    </message>
    <message>
        <source>导航数据尚未加载</source>
        <translation>Navigation data not loaded yet</translation>
    </message>
    <message>
        <source>请输入起飞和目的机场</source>
        <translation>Enter the departure and destination airports</translation>
    </message>
    <message>
        <source>无法生成航路：%1</source>
        <translation>Cannot build the route: %1</translation>
    </message>
    <message>
        <source>已生成航路 %1</source>
        <translation>Route %1 built</translation>
    </message>
    <message>
        <source>OFP 已读取，但无法生成航路：%1</source>
        <translation>OFP read, but no route could be built: %1</translation>
    </message>
    <message>
        <source>已导入 OFP %1-%2</source>
        <translation>OFP %1-%2 imported</translation>
    </message>
    <message>
        <source>OFP 导入失败：%1</source>
        <translation>OFP import failed: %1</translation>
    </message>
    <message>
        <source>导入失败：%1</source>
        <translation>Import failed: %1</translation>
    </message>
    <message>
        <source>已导入 %1；%2 个航点在导航数据中找不到位置</source>
        <translation>Imported %1; %2 waypoints have no position in the navigation data</translation>
    </message>
    <message>
        <source>已导入 %1</source>
        <translation>Imported %1</translation>
    </message>
    <message>
        <source>导出失败：%1</source>
        <translation>Export failed: %1</translation>
    </message>
    <message>
        <source>已导出 %1</source>
        <translation>Exported %1</translation>
    </message>
    <message>
        <source>导入飞行计划</source>
        <translation>Import flight plan</translation>
    </message>
    <message>
        <source>飞行计划 (*.pln *.fms)</source>
        <translation>Flight plans (*.pln *.fms)</translation>
    </message>
    <message>
        <source>MSFS/P3D/FSX 飞行计划 (*.pln)</source>
        <translation>MSFS/P3D/FSX flight plan (*.pln)</translation>
    </message>
    <message>
        <source>MSFS 2024 飞行计划 (*.pln)</source>
        <translation>MSFS 2024 flight plan (*.pln)</translation>
    </message>
    <message>
        <source>X-Plane FMS 计划 (*.fms)</source>
        <translation>X-Plane FMS plan (*.fms)</translation>
    </message>
    <message>
        <source>导出飞行计划</source>
        <translation>Export flight plan</translation>
    </message>
    <message>
        <source>导航数据中没有 %1</source>
        <translation>The navigation data has no %1</translation>
    </message>
    <message>
        <source>高度无效</source>
        <translation>Invalid altitude</translation>
    </message>
    <message>
        <source>请先选择一个航点</source>
        <translation>Select a waypoint first</translation>
    </message>
    <message>
        <source>飞行计划没有进近航点或目的机场</source>
        <translation>The flight plan has no approach point or destination airport</translation>
    </message>
</context>
<context>
    <name>FlightProfileChart</name>
    <message>
        <source>高度 (英尺)</source>
        <translation>Altitude (ft)</translation>
    </message>
    <message>
        <source>指示空速 (节)</source>
        <translation>Indicated airspeed (kt)</translation>
    </message>
    <message>
        <source>没有航迹数据</source>
        <translation>No track data</translation>
    </message>
</context>
<context>
    <name>FlightStatisticsView</name>
    <message>
        <source>呼号</source>
        <translation>Callsign</translation>
    </message>
    <message>
        <source>机型</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>模拟器</source>
        <translation>Simulator</translation>
    </message>
    <message>
        <source>来源</source>
        <translation>Source</translation>
    </message>
    <message>
        <source>开始</source>
        <translation>Start</translation>
    </message>
    <message>
        <source>结束</source>
        <translation>End</translation>
    </message>
    <message>
        <source>轮挡时间</source>
        <translation>Block time</translation>
    </message>
    <message>
        <source>空中时间</source>
        <translation>Air time</translation>
    </message>
    <message>
        <source>飞行距离</source>
        <translation>Distance flown</translation>
    </message>
    <message>
        <source>最大高度</source>
        <translation>Highest altitude</translation>
    </message>
    <message>
        <source>最大空速</source>
        <translation>Highest airspeed</translation>
    </message>
    <message>
        <source>最大地速</source>
        <translation>Highest ground speed</translation>
    </message>
    <message>
        <source>燃油消耗</source>
        <translation>Fuel used</translation>
    </message>
    <message>
        <source>起飞次数</source>
        <translation>Take-offs</translation>
    </message>
    <message>
        <source>着陆次数</source>
        <translation>Landings</translation>
    </message>
    <message>
        <source>着陆</source>
        <translation>Landings</translation>
    </message>
    <message>
        <source>教员操作</source>
        <translation>Instructor actions</translation>
    </message>
    <message>
        <source>序号</source>
        <translation>No.</translation>
    </message>
    <message>
        <source>时间</source>
        <translation>Time</translation>
    </message>
    <message>
        <source>垂直速度 (英尺/分)</source>
        <translation>Vertical speed (ft/min)</translation>
    </message>
    <message>
        <source>过载 (g)</source>
        <translation>Load factor (g)</translation>
    </message>
    <message>
        <source>空速 (节)</source>
        <translation>Airspeed (kt)</translation>
    </message>
    <message>
        <source>弹跳</source>
        <translation>Bounces</translation>
    </message>
    <message>
        <source>评价</source>
        <translation>Rating</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>内容</source>
        <translation>Details</translation>
    </message>
    <message>
        <source>平稳</source>
        <translation>Smooth</translation>
    </message>
    <message>
        <source>正常</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>偏重</source>
        <translation>Firm</translation>
    </message>
    <message>
        <source>重着陆</source>
        <translation>Hard landing</translation>
    </message>
    <message>
        <source>重新定位</source>
        <translation>Reposition</translation>
    </message>
    <message>
        <source>故障</source>
        <translation>Failure</translation>
    </message>
    <message>
        <source>故障恢复</source>
        <translation>Failure reset</translation>
    </message>
    <message>
        <source>燃油</source>
        <translation>Fuel</translation>
    </message>
    <message>
        <source>天气</source>
        <translation>Weather</translation>
    </message>
    <message>
        <source>推出</source>
        <translation>Pushback</translation>
    </message>
    <message>
        <source>场景</source>
        <translation>Scenario</translation>
    </message>
    <message>
        <source>ATC 记录</source>
        <translation>ATC log</translation>
    </message>
    <message>
        <source>备注</source>
        <translation>Note</translation>
    </message>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>远程站 %1</source>
        <translation>Remote station %1</translation>
    </message>
    <message>
        <source>导入 %1</source>
        <translation>Imported %1</translation>
    </message>
    <message>
        <source>%1 海里 (空中 %2 海里)</source>
        <translation>%1 nm (%2 nm in the air)</translation>
    </message>
    <message>
        <source>%1 英尺</source>
        <translation>%1 ft</translation>
    </message>
    <message>
        <source>%1 节</source>
        <translation>%1 kt</translation>
    </message>
    <message>
        <source>%1 加仑 (%2 千克)</source>
        <translation>%1 gal (%2 kg)</translation>
    </message>
    <message>
        <source>滑移</source>
        <translation>Slew</translation>
    </message>
    <message>
        <source>暂停</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>冻结</source>
        <translation>Freeze</translation>
    </message>
    <message>
        <source>飞行计划</source>
        <translation>Flight plan</translation>
    </message>
</context>
<context>
    <name>FuelTab</name>
    <message>
        <source>油箱</source>
        <translation>Tanks</translation>
    </message>
    <message>
        <source>油量</source>
        <translation>Fuel</translation>
    </message>
    <message>
        <source>加仑</source>
        <translation>Gallons</translation>
    </message>
    <message>
        <source>千克</source>
        <translation>kg</translation>
    </message>
    <message>
        <source>加油</source>
        <translation>Load fuel</translation>
    </message>
    <message>
        <source>百分比</source>
        <translation>Percent</translation>
    </message>
    <message>
        <source>全部油箱</source>
        <translation>All tanks</translation>
    </message>
    <message>
        <source>所选油箱</source>
        <translation>Selected tank</translation>
    </message>
    <message>
        <source>按加仑加油</source>
        <translation>Load gallons</translation>
    </message>
    <message>
        <source>放空</source>
        <translation>Drain</translation>
    </message>
    <message>
        <source>预设</source>
        <translation>Preset</translation>
    </message>
    <message>
        <source>应用预设</source>
        <translation>Apply preset</translation>
    </message>
    <message>
        <source>预设名称</source>
        <translation>Preset name</translation>
    </message>
    <message>
        <source>保存为预设</source>
        <translation>Save as preset</translation>
    </message>
    <message>
        <source>删除预设</source>
        <translation>Delete preset</translation>
    </message>
    <message>
        <source>冻结燃油</source>
        <translation>Freeze fuel</translation>
    </message>
    <message>
        <source>载荷</source>
        <translation>Payload</translation>
    </message>
    <message>
        <source>装载站</source>
        <translation>Station</translation>
    </message>
    <message>
        <source>重量 (kg)</source>
        <translation>Weight (kg)</translation>
    </message>
    <message>
        <source>总载荷</source>
        <translation>Total payload</translation>
    </message>
    <message>
        <source>装载</source>
        <translation>Load</translation>
    </message>
    <message>
        <source>满油</source>
        <translation>Full</translation>
    </message>
    <message>
        <source>3/4 油量</source>
        <translation>3/4 fuel</translation>
    </message>
    <message>
        <source>半油</source>
        <translation>Half</translation>
    </message>
    <message>
        <source>1/4 油量</source>
        <translation>1/4 fuel</translation>
    </message>
    <message>
        <source>最少油量</source>
        <translation>Minimum fuel</translation>
    </message>
    <message>
        <source>无油箱数据</source>
        <translation>No tank data</translation>
    </message>
    <message>
        <source>总油量 %1 / %2 gal（%3 kg）· %4%</source>
        <translation>Total fuel %1 / %2 gal (%3 kg) · %4%</translation>
    </message>
    <message>
        <source>载荷合计 %1 kg</source>
        <translation>Payload total %1 kg</translation>
    </message>
</context>
<context>
    <name>HelpMenu</name>
    <message>
        <source>帮助</source>
        <translation>Help</translation>
    </message>
    <message>
        <source>许可证…</source>
        <translation>Licence…</translation>
    </message>
    <message>
        <source>检查更新…</source>
        <translation>Check for updates…</translation>
    </message>
</context>
<context>
    <name>LicenseCheck</name>
    <message>
        <source>未安装许可证。</source>
        <translation>No licence is installed.</translation>
    </message>
    <message>
        <source>许可证有效。</source>
        <translation>The licence is valid.</translation>
    </message>
    <message>
        <source>许可证文件无效：不是 Zobrel 许可证，或内容不完整。</source>
        <translation>The licence file is invalid: it is not a Zobrel licence, or it is incomplete.</translation>
    </message>
    <message>
        <source>许可证缺少签名，无法确认其来源。</source>
        <translation>The licence has no signature, so its origin cannot be confirmed.</translation>
    </message>
    <message>
        <source>许可证签名无效：文件在签发后被修改，或不是由 Kovan 签发的。</source>
        <translation>The licence signature is invalid: the file was changed after it was issued, or it was not issued by Kovan.</translation>
    </message>
    <message>
        <source>许可证已于 %1 过期。</source>
        <translation>The licence expired on %1.</translation>
    </message>
    <message>
        <source>此许可证绑定在另一台计算机上（许可证中的机器码：%1）。</source>
        <translation>This licence is bound to another computer (machine ID in the licence: %1).</translation>
    </message>
</context>
<context>
    <name>LicenseDialog</name>
    <message>
        <source>许可证</source>
        <translation>Licence</translation>
    </message>
    <message>
        <source>当前许可证</source>
        <translation>Current licence</translation>
    </message>
    <message>
        <source>被许可人：</source>
        <translation>Licensee:</translation>
    </message>
    <message>
        <source>许可证编号：</source>
        <translation>Licence number:</translation>
    </message>
    <message>
        <source>功能：</source>
        <translation>Features:</translation>
    </message>
    <message>
        <source>远程机组上限：</source>
        <translation>Remote crews at most:</translation>
    </message>
    <message>
        <source>有效期至：</source>
        <translation>Valid until:</translation>
    </message>
    <message>
        <source>绑定计算机：</source>
        <translation>Bound to computer:</translation>
    </message>
    <message>
        <source>本机机器码</source>
        <translation>Machine ID of this computer</translation>
    </message>
    <message>
        <source>申请绑定本机的许可证时，请把下面的机器码发给供应商。</source>
        <translation>To order a licence bound to this computer, send the machine ID below to your supplier.</translation>
    </message>
    <message>
        <source>复制</source>
        <translation>Copy</translation>
    </message>
    <message>
        <source>加载许可证文件…</source>
        <translation>Load licence file…</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>远程教学服务器</source>
        <translation>Remote instruction server</translation>
    </message>
    <message>
        <source>只接受已授权的远程机组</source>
        <translation>Licensed remote crews only</translation>
    </message>
    <message>
        <source>最多 %1 个远程机组</source>
        <translation>Up to %1 remote crews</translation>
    </message>
    <message>
        <source>已授权</source>
        <translation>Licensed</translation>
    </message>
    <message>
        <source>评估模式</source>
        <translation>Evaluation mode</translation>
    </message>
    <message>
        <source>评估模式下所有功能均可使用，远程教学服务器最多接受 %1 个远程机组。</source>
        <translation>In evaluation mode every feature works; the remote instruction server accepts at most %1 remote crews.</translation>
    </message>
    <message>
        <source>无</source>
        <translation>None</translation>
    </message>
    <message>
        <source>、</source>
        <translation>, </translation>
    </message>
    <message>
        <source>不限</source>
        <translation>Unlimited</translation>
    </message>
    <message>
        <source>永久有效</source>
        <translation>Perpetual</translation>
    </message>
    <message>
        <source>任意计算机</source>
        <translation>Any computer</translation>
    </message>
    <message>
        <source>许可证已加载。</source>
        <translation>The licence was loaded.</translation>
    </message>
    <message>
        <source>未加载该许可证：%1 当前许可证保持不变。</source>
        <translation>That licence was not loaded: %1 The current licence stays in use.</translation>
    </message>
    <message>
        <source>加载许可证文件</source>
        <translation>Load licence file</translation>
    </message>
    <message>
        <source>Zobrel 许可证 (*.lic);;所有文件 (*)</source>
        <translation>Zobrel licences (*.lic);;All files (*)</translation>
    </message>
</context>
<context>
    <name>LicenseStatusLabel</name>
    <message>
        <source>已授权：%1</source>
        <translation>Licensed to %1</translation>
    </message>
    <message>
        <source>评估模式</source>
        <translation>Evaluation mode</translation>
    </message>
</context>
<context>
    <name>LicensingServices</name>
    <message>
        <source>Zobrel 已更新到 %1。</source>
        <translation>Zobrel was updated to %1.</translation>
    </message>
    <message>
        <source>更新 %1 未能安装，当前版本保持不变：%2</source>
        <translation>Update %1 could not be installed; the current version stays: %2</translation>
    </message>
    <message>
        <source>%1 Zobrel 以评估模式运行。</source>
        <translation>%1 Zobrel runs in evaluation mode.</translation>
    </message>
</context>
<context>
    <name>LiveDataPanel</name>
    <message>
        <source>开</source>
        <translation>On</translation>
    </message>
    <message>
        <source>关</source>
        <translation>Off</translation>
    </message>
    <message>
        <source>是</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>否</source>
        <translation>No</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>速度</source>
        <translation>Speeds</translation>
    </message>
    <message>
        <source>姿态</source>
        <translation>Attitude</translation>
    </message>
    <message>
        <source>发动机</source>
        <translation>Engines</translation>
    </message>
    <message>
        <source>操纵</source>
        <translation>Controls</translation>
    </message>
    <message>
        <source>自动驾驶</source>
        <translation>Autopilot</translation>
    </message>
    <message>
        <source>燃油与重量</source>
        <translation>Fuel and weights</translation>
    </message>
    <message>
        <source>无线电</source>
        <translation>Radios</translation>
    </message>
    <message>
        <source>环境</source>
        <translation>Environment</translation>
    </message>
    <message>
        <source>其他</source>
        <translation>Other</translation>
    </message>
    <message>
        <source>纬度</source>
        <translation>Latitude</translation>
    </message>
    <message>
        <source>经度</source>
        <translation>Longitude</translation>
    </message>
    <message>
        <source>高度 (MSL)</source>
        <translation>Altitude (MSL)</translation>
    </message>
    <message>
        <source>指示高度</source>
        <translation>Indicated altitude</translation>
    </message>
    <message>
        <source>离地高度</source>
        <translation>Height above ground</translation>
    </message>
    <message>
        <source>在地面</source>
        <translation>On ground</translation>
    </message>
    <message>
        <source>指示空速</source>
        <translation>Indicated airspeed</translation>
    </message>
    <message>
        <source>真空速</source>
        <translation>True airspeed</translation>
    </message>
    <message>
        <source>地速</source>
        <translation>Ground speed</translation>
    </message>
    <message>
        <source>垂直速度</source>
        <translation>Vertical speed</translation>
    </message>
    <message>
        <source>马赫数</source>
        <translation>Mach</translation>
    </message>
    <message>
        <source>磁航向</source>
        <translation>Heading (magnetic)</translation>
    </message>
    <message>
        <source>真航向</source>
        <translation>Heading (true)</translation>
    </message>
    <message>
        <source>航迹</source>
        <translation>Track</translation>
    </message>
    <message>
        <source>俯仰</source>
        <translation>Pitch</translation>
    </message>
    <message>
        <source>坡度</source>
        <translation>Bank</translation>
    </message>
    <message>
        <source>过载</source>
        <translation>Load factor</translation>
    </message>
    <message>
        <source>发动机类型</source>
        <translation>Engine type</translation>
    </message>
    <message>
        <source>发动机数量</source>
        <translation>Engine count</translation>
    </message>
    <message>
        <source>油门 1</source>
        <translation>Throttle 1</translation>
    </message>
    <message>
        <source>油门 2</source>
        <translation>Throttle 2</translation>
    </message>
    <message>
        <source>发动机 %1</source>
        <translation>Eng %1</translation>
    </message>
    <message>
        <source>N1</source>
        <translation>N1</translation>
    </message>
    <message>
        <source>N2</source>
        <translation>N2</translation>
    </message>
    <message>
        <source>排气温度</source>
        <translation>EGT</translation>
    </message>
    <message>
        <source>转速</source>
        <translation>RPM</translation>
    </message>
    <message>
        <source>燃油流量</source>
        <translation>Fuel flow</translation>
    </message>
    <message>
        <source>运行</source>
        <translation>Running</translation>
    </message>
    <message>
        <source>火警</source>
        <translation>Fire</translation>
    </message>
    <message>
        <source>放下</source>
        <translation>Down</translation>
    </message>
    <message>
        <source>收起</source>
        <translation>Up</translation>
    </message>
    <message>
        <source>起落架</source>
        <translation>Gear</translation>
    </message>
    <message>
        <source>襟翼</source>
        <translation>Flaps</translation>
    </message>
    <message>
        <source>减速板</source>
        <translation>Spoilers</translation>
    </message>
    <message>
        <source>停留刹车</source>
        <translation>Parking brake</translation>
    </message>
    <message>
        <source>升降舵配平</source>
        <translation>Elevator trim</translation>
    </message>
    <message>
        <source>副翼配平</source>
        <translation>Aileron trim</translation>
    </message>
    <message>
        <source>方向舵配平</source>
        <translation>Rudder trim</translation>
    </message>
    <message>
        <source>主用</source>
        <translation>Active</translation>
    </message>
    <message>
        <source>备用</source>
        <translation>Standby</translation>
    </message>
    <message>
        <source>NAV1</source>
        <translation>NAV1</translation>
    </message>
    <message>
        <source>NAV2</source>
        <translation>NAV2</translation>
    </message>
    <message>
        <source>COM1</source>
        <translation>COM1</translation>
    </message>
    <message>
        <source>COM2</source>
        <translation>COM2</translation>
    </message>
    <message>
        <source>ADF</source>
        <translation>ADF</translation>
    </message>
    <message>
        <source>应答机</source>
        <translation>Transponder</translation>
    </message>
    <message>
        <source>航向道偏离</source>
        <translation>Localizer deviation</translation>
    </message>
    <message>
        <source>下滑道偏离</source>
        <translation>Glide slope deviation</translation>
    </message>
    <message>
        <source>航向保持</source>
        <translation>Heading hold</translation>
    </message>
    <message>
        <source>高度保持</source>
        <translation>Altitude hold</translation>
    </message>
    <message>
        <source>速度保持</source>
        <translation>Speed hold</translation>
    </message>
    <message>
        <source>垂直导航</source>
        <translation>VNAV</translation>
    </message>
    <message>
        <source>进近</source>
        <translation>Approach</translation>
    </message>
    <message>
        <source>导航保持</source>
        <translation>NAV hold</translation>
    </message>
    <message>
        <source>目标高度</source>
        <translation>Target altitude</translation>
    </message>
    <message>
        <source>目标航向</source>
        <translation>Target heading</translation>
    </message>
    <message>
        <source>目标速度</source>
        <translation>Target speed</translation>
    </message>
    <message>
        <source>目标垂直速度</source>
        <translation>Target vertical speed</translation>
    </message>
    <message>
        <source>备用值</source>
        <translation>Spare value</translation>
    </message>
    <message>
        <source>总燃油</source>
        <translation>Total fuel</translation>
    </message>
    <message>
        <source>左油箱</source>
        <translation>Left tank</translation>
    </message>
    <message>
        <source>右油箱</source>
        <translation>Right tank</translation>
    </message>
    <message>
        <source>总重</source>
        <translation>Total weight</translation>
    </message>
    <message>
        <source>重心</source>
        <translation>Centre of gravity</translation>
    </message>
    <message>
        <source>外界温度</source>
        <translation>Outside air temp.</translation>
    </message>
    <message>
        <source>风向</source>
        <translation>Wind direction</translation>
    </message>
    <message>
        <source>风速</source>
        <translation>Wind speed</translation>
    </message>
    <message>
        <source>能见度</source>
        <translation>Visibility</translation>
    </message>
    <message>
        <source>海平面气压</source>
        <translation>Sea-level pressure</translation>
    </message>
    <message>
        <source>高度表设定</source>
        <translation>Altimeter setting</translation>
    </message>
    <message>
        <source>备用 1</source>
        <translation>Spare 1</translation>
    </message>
    <message>
        <source>备用 2</source>
        <translation>Spare 2</translation>
    </message>
    <message>
        <source>文本 1</source>
        <translation>Text 1</translation>
    </message>
    <message>
        <source>文本 2</source>
        <translation>Text 2</translation>
    </message>
    <message>
        <source>文本 3</source>
        <translation>Text 3</translation>
    </message>
    <message>
        <source>文本 4</source>
        <translation>Text 4</translation>
    </message>
</context>
<context>
    <name>LogView</name>
    <message>
        <source>调试及以上</source>
        <translation>Debug and above</translation>
    </message>
    <message>
        <source>信息及以上</source>
        <translation>Info and above</translation>
    </message>
    <message>
        <source>警告及以上</source>
        <translation>Warnings and above</translation>
    </message>
    <message>
        <source>仅错误</source>
        <translation>Errors only</translation>
    </message>
    <message>
        <source>清空日志</source>
        <translation>Clear log</translation>
    </message>
    <message>
        <source>显示级别：</source>
        <translation>Show level:</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>Zobrel 模拟飞行教员站 %1</source>
        <translation>Zobrel Flight Simulator Instructor Station %1</translation>
    </message>
    <message>
        <source>实时数据</source>
        <translation>Live data</translation>
    </message>
    <message>
        <source>日志</source>
        <translation>Log</translation>
    </message>
    <message>
        <source>文件</source>
        <translation>File</translation>
    </message>
    <message>
        <source>设置…</source>
        <translation>Settings…</translation>
    </message>
    <message>
        <source>退出</source>
        <translation>Exit</translation>
    </message>
    <message>
        <source>连接失败：%1</source>
        <translation>Connection failed: %1</translation>
    </message>
    <message>
        <source>导入导航数据…</source>
        <translation>Import Navigation Data…</translation>
    </message>
    <message>
        <source>地图</source>
        <translation>Map</translation>
    </message>
    <message>
        <source>教员服务器</source>
        <translation>Instructor server</translation>
    </message>
    <message>
        <source>监管</source>
        <translation>Supervision</translation>
    </message>
</context>
<context>
    <name>MapInfoPopup</name>
    <message>
        <source>城市</source>
        <translation>City</translation>
    </message>
    <message>
        <source>标高</source>
        <translation>Elevation</translation>
    </message>
    <message>
        <source>塔台</source>
        <translation>Tower</translation>
    </message>
    <message>
        <source>有</source>
        <translation>Yes</translation>
    </message>
    <message>
        <source>无</source>
        <translation>No</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>跑道 %1</source>
        <translation>Runway %1</translation>
    </message>
    <message>
        <source>最长跑道</source>
        <translation>Longest runway</translation>
    </message>
    <message>
        <source>塔台频率</source>
        <translation>Tower frequency</translation>
    </message>
    <message>
        <source>频率</source>
        <translation>Frequency</translation>
    </message>
    <message>
        <source>作用距离</source>
        <translation>Range</translation>
    </message>
    <message>
        <source>测距仪</source>
        <translation>DME</translation>
    </message>
    <message>
        <source>所属机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoint</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Type</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspace</translation>
    </message>
    <message>
        <source>高度</source>
        <translation>Altitude</translation>
    </message>
</context>
<context>
    <name>MapTab</name>
    <message>
        <source>跟随飞机</source>
        <translation>Follow aircraft</translation>
    </message>
    <message>
        <source>缩小</source>
        <translation>Zoom out</translation>
    </message>
    <message>
        <source>放大</source>
        <translation>Zoom in</translation>
    </message>
    <message>
        <source>样式</source>
        <translation>Style</translation>
    </message>
    <message>
        <source>深色</source>
        <translation>Dark</translation>
    </message>
    <message>
        <source>浅色</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>街道地图</source>
        <translation>Street map</translation>
    </message>
    <message>
        <source>卫星地图</source>
        <translation>Satellite map</translation>
    </message>
    <message>
        <source>清除航迹</source>
        <translation>Clear track</translation>
    </message>
    <message>
        <source>搜索机场 (ICAO/名称)</source>
        <translation>Search airport (ICAO/name)</translation>
    </message>
    <message>
        <source>图层</source>
        <translation>Layers</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airports</translation>
    </message>
    <message>
        <source>跑道</source>
        <translation>Runways</translation>
    </message>
    <message>
        <source>仪表着陆系统</source>
        <translation>ILS</translation>
    </message>
    <message>
        <source>机场地面图</source>
        <translation>Airport diagrams</translation>
    </message>
    <message>
        <source>导航台</source>
        <translation>Navaids</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoints</translation>
    </message>
    <message>
        <source>高空航路</source>
        <translation>High airways</translation>
    </message>
    <message>
        <source>低空航路</source>
        <translation>Low airways</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspaces</translation>
    </message>
    <message>
        <source>飞行计划航线</source>
        <translation>Flight plan route</translation>
    </message>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>远程机组</source>
        <translation>Remote stations</translation>
    </message>
    <message>
        <source>在线交通</source>
        <translation>Online traffic</translation>
    </message>
    <message>
        <source>罗盘</source>
        <translation>Compass</translation>
    </message>
    <message>
        <source>比例尺</source>
        <translation>Scale bar</translation>
    </message>
    <message>
        <source>未找到机场</source>
        <translation>Airport not found</translation>
    </message>
    <message>
        <source>离线地图</source>
        <translation>Offline map</translation>
    </message>
</context>
<context>
    <name>MapWidget</name>
    <message>
        <source>机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>导航设施</source>
        <translation>Navaid</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoint</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspace</translation>
    </message>
    <message>
        <source>标识</source>
        <translation>Marker</translation>
    </message>
    <message>
        <source>定位到 %1</source>
        <translation>Centre on %1</translation>
    </message>
    <message>
        <source>添加 %1 到飞行计划</source>
        <translation>Add %1 to flight plan</translation>
    </message>
    <message>
        <source>在此位置添加航路点</source>
        <translation>Add waypoint at this position</translation>
    </message>
    <message>
        <source>将飞机定位到此处</source>
        <translation>Put the aircraft here</translation>
    </message>
    <message>
        <source>五边进近：%1 跑道 %2</source>
        <translation>Final approach: %1 runway %2</translation>
    </message>
</context>
<context>
    <name>NavImportDialog</name>
    <message>
        <source>导入导航数据</source>
        <translation>Import Navigation Data</translation>
    </message>
    <message>
        <source>数据来源</source>
        <translation>Data Source</translation>
    </message>
    <message>
        <source>模拟器：</source>
        <translation>Simulator:</translation>
    </message>
    <message>
        <source>X-Plane 安装目录：</source>
        <translation>X-Plane folder:</translation>
    </message>
    <message>
        <source>数据库文件：</source>
        <translation>Database file:</translation>
    </message>
    <message>
        <source>附加数据（可选）</source>
        <translation>Additional Data (Optional)</translation>
    </message>
    <message>
        <source>航路规划数据目录：</source>
        <translation>Route-finder data folder:</translation>
    </message>
    <message>
        <source>Navigraph 管制频率目录：</source>
        <translation>Navigraph ATC frequency folder:</translation>
    </message>
    <message>
        <source>OpenAir 空域目录：</source>
        <translation>OpenAir airspace folder:</translation>
    </message>
    <message>
        <source>OpenAIP 空域目录：</source>
        <translation>OpenAIP airspace folder:</translation>
    </message>
    <message>
        <source>导入进度</source>
        <translation>Import Progress</translation>
    </message>
    <message>
        <source>开始导入</source>
        <translation>Start Import</translation>
    </message>
    <message>
        <source>取消导入</source>
        <translation>Cancel Import</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>浏览…</source>
        <translation>Browse…</translation>
    </message>
    <message>
        <source>等待</source>
        <translation>Waiting</translation>
    </message>
    <message>
        <source>进行中</source>
        <translation>Running</translation>
    </message>
    <message>
        <source>请选择有效的 X-Plane 安装目录。</source>
        <translation>Please choose a valid X-Plane folder.</translation>
    </message>
    <message>
        <source>正在导入，完成前原有数据库保持不变…</source>
        <translation>Importing; the current database stays unchanged until done…</translation>
    </message>
    <message>
        <source>正在取消…</source>
        <translation>Cancelling…</translation>
    </message>
    <message>
        <source>完成</source>
        <translation>Done</translation>
    </message>
    <message>
        <source>导入完成：%1</source>
        <translation>Import finished: %1</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>已取消</source>
        <translation>Cancelled</translation>
    </message>
    <message>
        <source>失败</source>
        <translation>Failed</translation>
    </message>
    <message>
        <source>导入已取消，原有数据库保持不变。</source>
        <translation>Import cancelled; the previous database is unchanged.</translation>
    </message>
    <message>
        <source>导入失败，原有数据库保持不变。</source>
        <translation>Import failed; the previous database is unchanged.</translation>
    </message>
    <message>
        <source>创建数据库</source>
        <translation>Create database</translation>
    </message>
    <message>
        <source>导航台</source>
        <translation>Navaids</translation>
    </message>
    <message>
        <source>航路点</source>
        <translation>Waypoints</translation>
    </message>
    <message>
        <source>航路</source>
        <translation>Airways</translation>
    </message>
    <message>
        <source>机场</source>
        <translation>Airports</translation>
    </message>
    <message>
        <source>离场、进场与进近程序</source>
        <translation>SIDs, STARs and approaches</translation>
    </message>
    <message>
        <source>机场元数据</source>
        <translation>Airport metadata</translation>
    </message>
    <message>
        <source>AIRAC 周期</source>
        <translation>AIRAC cycle</translation>
    </message>
    <message>
        <source>航路规划数据</source>
        <translation>Route-finder data</translation>
    </message>
    <message>
        <source>管制频率</source>
        <translation>ATC frequencies</translation>
    </message>
    <message>
        <source>OpenAir 空域</source>
        <translation>OpenAir airspaces</translation>
    </message>
    <message>
        <source>OpenAIP 空域</source>
        <translation>OpenAIP airspaces</translation>
    </message>
    <message>
        <source>完成数据库</source>
        <translation>Finish database</translation>
    </message>
    <message>
        <source>跑道端</source>
        <translation>Runway ends</translation>
    </message>
    <message>
        <source>通信频率</source>
        <translation>Frequencies</translation>
    </message>
    <message>
        <source>塔台</source>
        <translation>Towers</translation>
    </message>
    <message>
        <source>停机位</source>
        <translation>Parking spots</translation>
    </message>
    <message>
        <source>滑行道节点</source>
        <translation>Taxiway nodes</translation>
    </message>
    <message>
        <source>滑行道段</source>
        <translation>Taxiway segments</translation>
    </message>
    <message>
        <source>航路段</source>
        <translation>Airway segments</translation>
    </message>
    <message>
        <source>程序</source>
        <translation>Procedures</translation>
    </message>
    <message>
        <source>程序航段</source>
        <translation>Procedure legs</translation>
    </message>
    <message>
        <source>空域</source>
        <translation>Airspaces</translation>
    </message>
    <message>
        <source>数据版本信息</source>
        <translation>Data version info</translation>
    </message>
    <message>
        <source>MSFS 2020 软件包目录：</source>
        <translation>MSFS 2020 packages folder:</translation>
    </message>
    <message>
        <source>Packages 目录、UserCfg.opt 所在目录或该文件</source>
        <translation>Packages, UserCfg.opt or its folder</translation>
    </message>
    <message>
        <source>%1 安装目录：</source>
        <translation>%1 folder:</translation>
    </message>
    <message>
        <source>包含 scenery.cfg 的目录</source>
        <translation>Folder holding scenery.cfg</translation>
    </message>
    <message>
        <source>请选择有效的 MSFS 2020 软件包目录或 UserCfg.opt 文件。</source>
        <translation>Please choose a valid MSFS 2020 packages folder or UserCfg.opt file.</translation>
    </message>
    <message>
        <source>请选择有效的 %1 安装目录。</source>
        <translation>Please choose a valid %1 folder.</translation>
    </message>
    <message>
        <source>读取场景文件</source>
        <translation>Read scenery files</translation>
    </message>
    <message>
        <source>写入数据库</source>
        <translation>Write database</translation>
    </message>
    <message>
        <source>正在从 MSFS 2024 读取导航数据，完成前原有数据库保持不变…</source>
        <translation>Reading the navigation data from MSFS 2024; the current database stays as it is until the import is complete…</translation>
    </message>
    <message>
        <source>未连接到 MSFS 2024：请先连接模拟器，再从模拟器导入。</source>
        <translation>Not connected to MSFS 2024: connect to the simulator first, then import from it.</translation>
    </message>
    <message>
        <source>注册设施定义</source>
        <translation>Register facility definitions</translation>
    </message>
    <message>
        <source>机场列表</source>
        <translation>Airport list</translation>
    </message>
    <message>
        <source>设施数量</source>
        <translation>Facility counts</translation>
    </message>
    <message>
        <source>基本信息</source>
        <translation>Basic information</translation>
    </message>
    <message>
        <source>频率</source>
        <translation>Frequencies</translation>
    </message>
    <message>
        <source>跑道</source>
        <translation>Runways</translation>
    </message>
    <message>
        <source>程序 (SID/STAR/Approach)</source>
        <translation>Procedures (SID/STAR/Approach)</translation>
    </message>
    <message>
        <source>广度优先遍历导航设施</source>
        <translation>Breadth-first walk of the navaids</translation>
    </message>
</context>
<context>
    <name>OnlineNavDataProvider</name>
    <message>
        <source>已连接 · %1</source>
        <translation>Connected · %1</translation>
    </message>
    <message>
        <source>正在连接...</source>
        <translation>Connecting...</translation>
    </message>
    <message>
        <source>离线模式（使用缓存）</source>
        <translation>Offline mode (using cache)</translation>
    </message>
    <message>
        <source>连接失败</source>
        <translation>Connection failed</translation>
    </message>
</context>
<context>
    <name>PfdTab</name>
    <message>
        <source>飞机</source>
        <translation>Aircraft</translation>
    </message>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>回放</source>
        <translation>Replay</translation>
    </message>
</context>
<context>
    <name>PlanningServices</name>
    <message>
        <source>飞机已放置：%1</source>
        <translation>Aircraft placed: %1</translation>
    </message>
    <message>
        <source>无法放置飞机：%1</source>
        <translation>Cannot place the aircraft: %1</translation>
    </message>
    <message>
        <source>无法装载 OFP：飞机的油箱尚未从模拟器读到</source>
        <translation>Cannot load the OFP: the aircraft's tanks have not been read from the simulator yet</translation>
    </message>
    <message>
        <source>已装载 OFP 燃油 %1 kg（%2 gal）</source>
        <translation>OFP fuel loaded: %1 kg (%2 gal)</translation>
    </message>
    <message>
        <source>，油箱装不下 OFP 的 %1 kg</source>
        <translation>; the tanks cannot hold the OFP's %1 kg</translation>
    </message>
    <message>
        <source>；没有载荷站，业载未装载</source>
        <translation>; no payload stations, payload not loaded</translation>
    </message>
    <message>
        <source>，业载 %1 kg</source>
        <translation>, payload %1 kg</translation>
    </message>
    <message>
        <source>无法放置飞机：没有定位服务</source>
        <translation>Cannot place the aircraft: no positioning service</translation>
    </message>
    <message>
        <source>飞行计划</source>
        <translation>Flight plan</translation>
    </message>
    <message>
        <source>天气</source>
        <translation>Weather</translation>
    </message>
</context>
<context>
    <name>PlaybackBar</name>
    <message>
        <source>播放/暂停</source>
        <translation>Play/pause</translation>
    </message>
    <message>
        <source>暂停</source>
        <translation>Pause</translation>
    </message>
    <message>
        <source>播放</source>
        <translation>Play</translation>
    </message>
    <message>
        <source>速度</source>
        <translation>Speed</translation>
    </message>
    <message>
        <source>同步到模拟器</source>
        <translation>Replay in the simulator</translation>
    </message>
    <message>
        <source>回放时把飞机在模拟器中逐点重新定位</source>
        <translation>While replaying, reposition the aircraft in the simulator point by point</translation>
    </message>
    <message>
        <source>关闭回放</source>
        <translation>Close the replay</translation>
    </message>
    <message>
        <source>回放</source>
        <translation>Replay</translation>
    </message>
    <message>
        <source>回放：%1</source>
        <translation>Replay: %1</translation>
    </message>
    <message>
        <source>着陆 %1 英尺/分 %2 g</source>
        <translation>Landing %1 ft/min %2 g</translation>
    </message>
</context>
<context>
    <name>PositionAircraft</name>
    <message>
        <source>模拟器未连接</source>
        <translation>Simulator not connected</translation>
    </message>
    <message>
        <source>%1 跑道 %2° @ %3ft</source>
        <translation>%1 runway %2° @ %3ft</translation>
    </message>
    <message>
        <source>%1,%2 @ %3ft hdg %4°</source>
        <translation>%1,%2 @ %3ft hdg %4°</translation>
    </message>
    <message>
        <source>%1 Final %2nm @ %3ft hdg %4°</source>
        <translation>%1 Final %2nm @ %3ft hdg %4°</translation>
    </message>
    <message>
        <source>%1 Pattern %2 @ %3ft hdg %4°</source>
        <translation>%1 Pattern %2 @ %3ft hdg %4°</translation>
    </message>
    <message>
        <source>%1 Vector %2 %3nm @ %4ft hdg %5°</source>
        <translation>%1 Vector %2 %3nm @ %4ft hdg %5°</translation>
    </message>
    <message>
        <source>导航数据未加载</source>
        <translation>Navigation data not loaded</translation>
    </message>
    <message>
        <source>%1 无停机位数据</source>
        <translation>%1 has no parking data</translation>
    </message>
    <message>
        <source>未找到停机位 %1</source>
        <translation>Parking %1 not found</translation>
    </message>
    <message>
        <source>%1 %2 hdg %3°</source>
        <translation>%1 %2 hdg %3°</translation>
    </message>
</context>
<context>
    <name>PrimaryFlightDisplay</name>
    <message>
        <source>地速</source>
        <translation>GS</translation>
    </message>
    <message>
        <source>真空速</source>
        <translation>TAS</translation>
    </message>
    <message>
        <source>标准</source>
        <translation>STD</translation>
    </message>
    <message>
        <source>百帕</source>
        <translation>hPa</translation>
    </message>
    <message>
        <source>航向</source>
        <translation>HDG</translation>
    </message>
    <message>
        <source>自动驾驶</source>
        <translation>AP</translation>
    </message>
    <message>
        <source>无线电高度</source>
        <translation>RA</translation>
    </message>
    <message>
        <source>无数据</source>
        <translation>NO DATA</translation>
    </message>
</context>
<context>
    <name>RecordingServices</name>
    <message>
        <source>主飞行显示</source>
        <translation>PFD</translation>
    </message>
    <message>
        <source>飞行记录</source>
        <translation>Recordings</translation>
    </message>
    <message>
        <source>回放</source>
        <translation>Replay</translation>
    </message>
    <message>
        <source>重新定位：%1</source>
        <translation>Repositioned: %1</translation>
    </message>
    <message>
        <source>故障：%1</source>
        <translation>Failure: %1</translation>
    </message>
    <message>
        <source>故障恢复：%1</source>
        <translation>Failure reset: %1</translation>
    </message>
    <message>
        <source>全部故障恢复</source>
        <translation>All failures reset</translation>
    </message>
    <message>
        <source>加油：%1 加仑 (%2%)</source>
        <translation>Fuel loaded: %1 gal (%2%)</translation>
    </message>
    <message>
        <source>载荷：%1 千克</source>
        <translation>Payload: %1 kg</translation>
    </message>
    <message>
        <source>燃油冻结</source>
        <translation>Fuel frozen</translation>
    </message>
    <message>
        <source>燃油解冻</source>
        <translation>Fuel unfrozen</translation>
    </message>
    <message>
        <source>开始推出</source>
        <translation>Pushback started</translation>
    </message>
    <message>
        <source>推出结束</source>
        <translation>Pushback ended</translation>
    </message>
    <message>
        <source>滑移开启</source>
        <translation>Slew on</translation>
    </message>
    <message>
        <source>滑移关闭</source>
        <translation>Slew off</translation>
    </message>
    <message>
        <source>暂停</source>
        <translation>Paused</translation>
    </message>
    <message>
        <source>继续</source>
        <translation>Resumed</translation>
    </message>
    <message>
        <source>解除冻结</source>
        <translation>Freeze released</translation>
    </message>
    <message>
        <source>冻结位置和姿态</source>
        <translation>Position and attitude frozen</translation>
    </message>
    <message>
        <source>冻结位置</source>
        <translation>Position frozen</translation>
    </message>
    <message>
        <source>冻结姿态</source>
        <translation>Attitude frozen</translation>
    </message>
    <message>
        <source>天气：%1</source>
        <translation>Weather: %1</translation>
    </message>
    <message>
        <source>飞行计划已发送：%1</source>
        <translation>Flight plan sent: %1</translation>
    </message>
    <message>
        <source>OFP %1-%2：燃油 %3 千克，业载 %4 千克</source>
        <translation>OFP %1-%2: fuel %3 kg, payload %4 kg</translation>
    </message>
    <message>
        <source>场景：%1</source>
        <translation>Scenario: %1</translation>
    </message>
    <message>
        <source>场景：%1；未能应用：%2</source>
        <translation>Scenario: %1; not applied: %2</translation>
    </message>
    <message>
        <source>ATC：%1 %2</source>
        <translation>ATC: %1 %2</translation>
    </message>
</context>
<context>
    <name>RecordingStatusLabel</name>
    <message>
        <source>未录制</source>
        <translation>Not recording</translation>
    </message>
    <message>
        <source>录制中</source>
        <translation>Recording</translation>
    </message>
    <message>
        <source>记录数据库：%1</source>
        <translation>Recordings database: %1</translation>
    </message>
    <message>
        <source>记录数据库不可用，已缓存 %1 个样本，正在重试</source>
        <translation>Recordings database unavailable: %1 samples kept, retrying</translation>
    </message>
    <message>
        <source>记录数据库：%1
%2</source>
        <translation>Recordings database: %1
%2</translation>
    </message>
</context>
<context>
    <name>RecordingsTab</name>
    <message>
        <source>搜索呼号、机型、模拟器、日期…</source>
        <translation>Search callsign, aircraft, simulator, date…</translation>
    </message>
    <message>
        <source>刷新</source>
        <translation>Refresh</translation>
    </message>
    <message>
        <source>回放</source>
        <translation>Replay</translation>
    </message>
    <message>
        <source>导出</source>
        <translation>Export</translation>
    </message>
    <message>
        <source>导入航迹…</source>
        <translation>Import track…</translation>
    </message>
    <message>
        <source>删除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>已导出到 %1</source>
        <translation>Exported to %1</translation>
    </message>
    <message>
        <source>已导入 %1 个航迹点</source>
        <translation>Imported %1 track points</translation>
    </message>
    <message>
        <source>已导入 %1 个航迹点，跳过 %2 行（%3）</source>
        <translation>Imported %1 track points, skipped %2 rows (%3)</translation>
    </message>
    <message>
        <source>已删除</source>
        <translation>Deleted</translation>
    </message>
    <message>
        <source>记录数据库：%1</source>
        <translation>Recordings database: %1</translation>
    </message>
    <message>
        <source>导出航迹</source>
        <translation>Export track</translation>
    </message>
    <message>
        <source>%1 文件 (*.%2)</source>
        <translation>%1 files (*.%2)</translation>
    </message>
    <message>
        <source>导入航迹</source>
        <translation>Import track</translation>
    </message>
    <message>
        <source>航迹文件 (*.gpx *.csv)</source>
        <translation>Track files (*.gpx *.csv)</translation>
    </message>
    <message>
        <source>删除记录</source>
        <translation>Delete recording</translation>
    </message>
    <message>
        <source>删除这次飞行的全部记录？</source>
        <translation>Delete everything recorded of this flight?</translation>
    </message>
</context>
<context>
    <name>RemoteTargetLabel</name>
    <message>
        <source>操作目标：本机模拟器</source>
        <translation>Acting on: the local simulator</translation>
    </message>
    <message>
        <source>操作目标：学员站 %1</source>
        <translation>Acting on: student station %1</translation>
    </message>
    <message>
        <source>操作目标：学员站 %1（未连接）</source>
        <translation>Acting on: student station %1 (not connected)</translation>
    </message>
</context>
<context>
    <name>RoutePlanner</name>
    <message>
        <source>没有航路网数据，航路段为直飞</source>
        <translation>No airway network data: the en-route part is direct</translation>
    </message>
    <message>
        <source>未找到 %1 与 %2 之间的航路，航路段为直飞</source>
        <translation>No airway route between %1 and %2: the en-route part is direct</translation>
    </message>
    <message>
        <source>导航数据中没有机场 %1</source>
        <translation>The navigation data has no airport %1</translation>
    </message>
    <message>
        <source>%1 在导航数据中没有航段，已略过</source>
        <translation>%1 has no legs in the navigation data and was left out</translation>
    </message>
    <message>
        <source>%1 既不是导航数据中的航点，也不是从 %2 到 %3 的航路</source>
        <translation>%1 is neither a waypoint of the navigation data nor an airway from %2 to %3</translation>
    </message>
    <message>
        <source>导航数据中没有 %1</source>
        <translation>The navigation data has no %1</translation>
    </message>
    <message>
        <source>航路文本无法解析（%1），已使用飞行计划中的航点</source>
        <translation>The route text could not be followed (%1); the OFP's own waypoints were used</translation>
    </message>
    <message>
        <source>%1 至 %2 的航路长 %3 海里，是直线距离 %4 海里的 %5 倍，请检查航路</source>
        <translation>The airway route from %1 to %2 is %3 nm, %5 times the direct %4 nm; check the route</translation>
    </message>
</context>
<context>
    <name>ScenarioPanel</name>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
    <message>
        <source>应用到</source>
        <translation>Apply to</translation>
    </message>
    <message>
        <source>应用场景</source>
        <translation>Apply scenario</translation>
    </message>
    <message>
        <source>将当前状态保存为场景…</source>
        <translation>Save the present situation as a scenario…</translation>
    </message>
    <message>
        <source>删除</source>
        <translation>Delete</translation>
    </message>
    <message>
        <source>刷新列表</source>
        <translation>Refresh list</translation>
    </message>
    <message>
        <source>无法读取：%1</source>
        <translation>Cannot read: %1</translation>
    </message>
    <message>
        <source>场景文件夹中没有场景：%1</source>
        <translation>No scenarios in the scenario folder: %1</translation>
    </message>
    <message>
        <source>位置：%1, %2，高度 %3 英尺，航向 %4°</source>
        <translation>Position: %1, %2, altitude %3 ft, heading %4°</translation>
    </message>
    <message>
        <source>天气：风 %1°/%2 节，能见度 %3 米，QNH %4</source>
        <translation>Weather: wind %1°/%2 kt, visibility %3 m, QNH %4</translation>
    </message>
    <message>
        <source>燃油：%1 加仑</source>
        <translation>Fuel: %1 gal</translation>
    </message>
    <message>
        <source>燃油：%1 个油箱</source>
        <translation>Fuel: %1 tanks</translation>
    </message>
    <message>
        <source>载荷：%1 千克</source>
        <translation>Payload: %1 kg</translation>
    </message>
    <message>
        <source>故障：%1 项</source>
        <translation>Failures: %1</translation>
    </message>
    <message>
        <source>请先选择一个场景</source>
        <translation>Choose a scenario first</translation>
    </message>
    <message>
        <source>保存场景</source>
        <translation>Save scenario</translation>
    </message>
    <message>
        <source>场景名称</source>
        <translation>Scenario name</translation>
    </message>
    <message>
        <source>无法删除 %1</source>
        <translation>Cannot delete %1</translation>
    </message>
</context>
<context>
    <name>SettingsDialog</name>
    <message>
        <source>设置</source>
        <translation>Settings</translation>
    </message>
    <message>
        <source>启动后自动连接正在运行的模拟器</source>
        <translation>Connect automatically to a running simulator after start-up</translation>
    </message>
    <message>
        <source>X-Plane 安装目录（可选）</source>
        <translation>X-Plane installation folder (optional)</translation>
    </message>
    <message>
        <source>浏览…</source>
        <translation>Browse…</translation>
    </message>
    <message>
        <source>X-Plane</source>
        <translation>X-Plane</translation>
    </message>
    <message>
        <source>主机地址：</source>
        <translation>Host:</translation>
    </message>
    <message>
        <source>端口：</source>
        <translation>Port:</translation>
    </message>
    <message>
        <source>安装目录：</source>
        <translation>Installation folder:</translation>
    </message>
    <message>
        <source>Prepar3D / FSX 桥接程序</source>
        <translation>Prepar3D / FSX bridge</translation>
    </message>
    <message>
        <source>桥接端口：</source>
        <translation>Bridge port:</translation>
    </message>
    <message>
        <source>简体中文</source>
        <translation>Chinese (Simplified)</translation>
    </message>
    <message>
        <source>英语</source>
        <translation>English</translation>
    </message>
    <message>
        <source>界面</source>
        <translation>Interface</translation>
    </message>
    <message>
        <source>语言：</source>
        <translation>Language:</translation>
    </message>
    <message>
        <source>保存</source>
        <translation>Save</translation>
    </message>
    <message>
        <source>取消</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>无法写入设置文件：%1</source>
        <translation>The settings file cannot be written: %1</translation>
    </message>
    <message>
        <source>选择 X-Plane 安装目录</source>
        <translation>Choose the X-Plane installation folder</translation>
    </message>
    <message>
        <source>随连接的模拟器自动切换导航数据</source>
        <translation>Switch navigation data with the connected simulator</translation>
    </message>
    <message>
        <source>导航数据</source>
        <translation>Navigation data</translation>
    </message>
    <message>
        <source>默认数据源：</source>
        <translation>Default source:</translation>
    </message>
    <message>
        <source>更新</source>
        <translation>Updates</translation>
    </message>
    <message>
        <source>更新清单地址：</source>
        <translation>Update manifest URL:</translation>
    </message>
    <message>
        <source>留空则不检查更新</source>
        <translation>Leave empty to not check for updates</translation>
    </message>
    <message>
        <source>启动时检查更新（每天最多一次）</source>
        <translation>Check for updates at start (at most once a day)</translation>
    </message>
    <message>
        <source>连接设置在下一次连接模拟器时生效；导航数据、语言和更新设置保存后立即生效。</source>
        <translation>Connection settings apply at the next connection to a simulator; navigation data, language and update settings apply as soon as they are saved.</translation>
    </message>
    <message>
        <source>开启教员服务器（保存后立即启动或停止，并随 Zobrel 启动）</source>
        <translation>Instructor server on (starts or stops when saved, and starts with Zobrel)</translation>
    </message>
    <message>
        <source>为空则不要求配对密码</source>
        <translation>Empty: no pairing secret is asked for</translation>
    </message>
    <message>
        <source>为空则使用内置证书</source>
        <translation>Empty: the built-in certificates</translation>
    </message>
    <message>
        <source>zobrel-agent --make-keys 输出的 SHA-256 指纹</source>
        <translation>The SHA-256 fingerprint zobrel-agent --make-keys printed</translation>
    </message>
    <message>
        <source>教员服务器（远程教学）</source>
        <translation>Instructor server (remote instruction)</translation>
    </message>
    <message>
        <source>监听端口：</source>
        <translation>Listening port:</translation>
    </message>
    <message>
        <source>配对密码：</source>
        <translation>Pairing secret:</translation>
    </message>
    <message>
        <source>CA 证书：</source>
        <translation>CA certificate:</translation>
    </message>
    <message>
        <source>服务器证书：</source>
        <translation>Server certificate:</translation>
    </message>
    <message>
        <source>服务器私钥：</source>
        <translation>Server private key:</translation>
    </message>
    <message>
        <source>CA 指纹：</source>
        <translation>CA fingerprint:</translation>
    </message>
    <message>
        <source>连接设置在下一次连接模拟器时生效；导航数据设置保存后立即生效；语言在重新启动 Zobrel 后生效。</source>
        <translation>Connection settings apply at the next connection to a simulator; navigation data settings apply as soon as they are saved; the language applies after Zobrel is restarted.</translation>
    </message>
    <message>
        <source>数据模式：</source>
        <translation>Data mode:</translation>
    </message>
    <message>
        <source>离线数据库</source>
        <translation>Offline database</translation>
    </message>
    <message>
        <source>在线服务</source>
        <translation>Online service</translation>
    </message>
    <message>
        <source>服务地址：</source>
        <translation>Service address:</translation>
    </message>
    <message>
        <source>访问令牌：</source>
        <translation>Access token:</translation>
    </message>
</context>
<context>
    <name>SimBriefService</name>
    <message>
        <source>用户名不能为空</source>
        <translation>The user name must not be empty</translation>
    </message>
    <message>
        <source>解析 SimBrief XML 失败</source>
        <translation>Parsing the SimBrief XML failed</translation>
    </message>
</context>
<context>
    <name>SimStatusWidget</name>
    <message>
        <source>模拟器：%1</source>
        <translation>Simulator: %1</translation>
    </message>
    <message>
        <source>未连接</source>
        <translation>Not connected</translation>
    </message>
    <message>
        <source>正在连接…</source>
        <translation>Connecting…</translation>
    </message>
    <message>
        <source>已连接</source>
        <translation>Connected</translation>
    </message>
    <message>
        <source>无</source>
        <translation>none</translation>
    </message>
</context>
<context>
    <name>SimulatorMenu</name>
    <message>
        <source>模拟器</source>
        <translation>Simulator</translation>
    </message>
    <message>
        <source>连接 %1</source>
        <translation>Connect %1</translation>
    </message>
    <message>
        <source>断开连接</source>
        <translation>Disconnect</translation>
    </message>
</context>
<context>
    <name>SupervisionAlert</name>
    <message>
        <source>冲突告警：%1 与 %2，%3 秒后最接近，水平 %4 海里，垂直 %5 英尺</source>
        <translation>Conflict: %1 and %2, closest in %3 s, %4 nm laterally, %5 ft vertically</translation>
    </message>
    <message>
        <source>航线偏离：%1 偏离航线 %2 海里（限度 %3 海里）</source>
        <translation>Route deviation: %1 is %2 nm off the route (limit %3 nm)</translation>
    </message>
    <message>
        <source>高度偏离：%1 高度 %2 英尺，指令高度 %3 英尺</source>
        <translation>Altitude deviation: %1 at %2 ft, assigned %3 ft</translation>
    </message>
    <message>
        <source>低于最低安全高度：%1 高度 %2 英尺，最低安全高度 %3 英尺</source>
        <translation>Below minimum safe altitude: %1 at %2 ft, minimum safe altitude %3 ft</translation>
    </message>
    <message>
        <source>离地高度过低：%1 离地 %2 英尺（最低 %3 英尺）</source>
        <translation>Too low above ground: %1 at %2 ft above ground (minimum %3 ft)</translation>
    </message>
    <message>
        <source>冲突</source>
        <translation>Conflict</translation>
    </message>
    <message>
        <source>航线偏离</source>
        <translation>Route deviation</translation>
    </message>
    <message>
        <source>高度偏离</source>
        <translation>Altitude deviation</translation>
    </message>
    <message>
        <source>安全高度</source>
        <translation>Safe altitude</translation>
    </message>
    <message>
        <source>离地高度</source>
        <translation>Height above ground</translation>
    </message>
    <message>
        <source>本机</source>
        <translation>Own aircraft</translation>
    </message>
</context>
<context>
    <name>SupervisionServices</name>
    <message>
        <source>扇区：%1</source>
        <translation>Sector: %1</translation>
    </message>
    <message>
        <source>扇区：—</source>
        <translation>Sector: —</translation>
    </message>
    <message>
        <source>场景“%1”已应用</source>
        <translation>Scenario “%1” applied</translation>
    </message>
    <message>
        <source>场景“%1”已应用；未能应用：%2</source>
        <translation>Scenario “%1” applied; not applied: %2</translation>
    </message>
    <message>
        <source>已保存：%1</source>
        <translation>Saved: %1</translation>
    </message>
    <message>
        <source>保存失败：%1</source>
        <translation>Saving failed: %1</translation>
    </message>
    <message>
        <source>场景“%1”未能应用：模拟器未连接</source>
        <translation>Scenario “%1” not applied: no simulator connected</translation>
    </message>
    <message>
        <source>位置</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>天气</source>
        <translation>Weather</translation>
    </message>
    <message>
        <source>燃油</source>
        <translation>Fuel</translation>
    </message>
    <message>
        <source>载荷</source>
        <translation>Payload</translation>
    </message>
    <message>
        <source>故障 %1</source>
        <translation>Failure %1</translation>
    </message>
    <message>
        <source>暂不支持应用到远程机组</source>
        <translation>Applying to a remote station is not available yet</translation>
    </message>
</context>
<context>
    <name>SupervisionTab</name>
    <message>
        <source>ATC 指令</source>
        <translation>ATC instructions</translation>
    </message>
    <message>
        <source>场景</source>
        <translation>Scenarios</translation>
    </message>
    <message>
        <source>无法加载 %1：%2</source>
        <translation>Cannot load %1: %2</translation>
    </message>
    <message>
        <source>静音</source>
        <translation>Mute</translation>
    </message>
    <message>
        <source>时间</source>
        <translation>Time</translation>
    </message>
    <message>
        <source>类型</source>
        <translation>Kind</translation>
    </message>
    <message>
        <source>内容</source>
        <translation>Alert</translation>
    </message>
    <message>
        <source>内容</source>
        <comment>sector file column</comment>
        <translation>Contents</translation>
    </message>
    <message>
        <source>扇区文件</source>
        <translation>Sector files</translation>
    </message>
    <message>
        <source>在线交通</source>
        <translation>Online traffic</translation>
    </message>
    <message>
        <source>加载扇区文件…</source>
        <translation>Load sector file…</translation>
    </message>
    <message>
        <source>移除</source>
        <translation>Remove</translation>
    </message>
    <message>
        <source>文件</source>
        <translation>File</translation>
    </message>
    <message>
        <source>跳过的行</source>
        <translation>Skipped lines</translation>
    </message>
    <message>
        <source>获取在线交通</source>
        <translation>Fetch online traffic</translation>
    </message>
    <message>
        <source>数据源地址</source>
        <translation>Feed address</translation>
    </message>
    <message>
        <source>刷新间隔（秒）</source>
        <translation>Refresh interval (s)</translation>
    </message>
    <message>
        <source>按呼号搜索</source>
        <translation>Search by callsign</translation>
    </message>
    <message>
        <source>无告警</source>
        <translation>No alerts</translation>
    </message>
    <message>
        <source>告警 %1 条</source>
        <translation>%1 alerts</translation>
    </message>
    <message>
        <source>正在加载 %1 个文件…</source>
        <translation>Loading %1 files…</translation>
    </message>
    <message>
        <source>等待数据…</source>
        <translation>Waiting for data…</translation>
    </message>
    <message>
        <source>未启用</source>
        <translation>Off</translation>
    </message>
    <message>
        <source>%1 架飞机，%2 个管制席位，更新于 %3</source>
        <translation>%1 aircraft, %2 controller positions, updated at %3</translation>
    </message>
    <message>
        <source>最近一次获取失败（保留上次数据）：%1</source>
        <translation>The last fetch failed (the last traffic is kept): %1</translation>
    </message>
    <message>
        <source>加载扇区文件</source>
        <translation>Load sector file</translation>
    </message>
    <message>
        <source>扇区文件 (*.sct *.sct2 *.ese *.geojson *.json *.txt *.openair *.dat);;所有文件 (*)</source>
        <translation>Sector files (*.sct *.sct2 *.ese *.geojson *.json *.txt *.openair *.dat);;All files (*)</translation>
    </message>
    <message>
        <source>%1 条线，%2 个点，%3 个扇区，%4 个管制席位</source>
        <translation>%1 lines, %2 points, %3 sectors, %4 controller positions</translation>
    </message>
</context>
<context>
    <name>UpdateDialog</name>
    <message>
        <source>检查更新</source>
        <translation>Check for updates</translation>
    </message>
    <message>
        <source>当前版本：%1</source>
        <translation>Installed version: %1</translation>
    </message>
    <message>
        <source>重新检查</source>
        <translation>Check again</translation>
    </message>
    <message>
        <source>下载并安装</source>
        <translation>Download and install</translation>
    </message>
    <message>
        <source>取消下载</source>
        <translation>Cancel download</translation>
    </message>
    <message>
        <source>立即重启</source>
        <translation>Restart now</translation>
    </message>
    <message>
        <source>关闭</source>
        <translation>Close</translation>
    </message>
    <message>
        <source>尚未检查更新。</source>
        <translation>Not checked for updates yet.</translation>
    </message>
    <message>
        <source>未设置更新清单地址，更新检查已关闭。</source>
        <translation>No update manifest URL is set; update checks are off.</translation>
    </message>
    <message>
        <source>正在检查更新…</source>
        <translation>Checking for updates…</translation>
    </message>
    <message>
        <source>已是最新版本（更新服务器上的最新版本：%1）。</source>
        <translation>This is the latest version (the update server offers %1).</translation>
    </message>
    <message>
        <source>发现新版本 %1。</source>
        <translation>Version %1 is available.</translation>
    </message>
    <message>
        <source>发现新版本 %1（发布于 %2）。</source>
        <translation>Version %1 is available (released %2).</translation>
    </message>
    <message>
        <source>程序目录不可写，无法自动安装；请从 %1 下载后手动安装。</source>
        <translation>The program folder is not writable, so the update cannot be installed automatically; download it from %1 and install it by hand.</translation>
    </message>
    <message>
        <source>正在下载版本 %1…</source>
        <translation>Downloading version %1…</translation>
    </message>
    <message>
        <source>版本 %1 已下载并通过校验，将在下次启动 Zobrel 时安装。</source>
        <translation>Version %1 was downloaded and verified; it is installed the next time Zobrel starts.</translation>
    </message>
    <message>
        <source>当前安装的版本保持不变。</source>
        <translation>The installed version stays as it is.</translation>
    </message>
    <message>
        <source>（此版本没有发行说明）</source>
        <translation>(No release notes for this version)</translation>
    </message>
    <message>
        <source>%1 / %2 MB</source>
        <translation>%1 / %2 MB</translation>
    </message>
</context>
<context>
    <name>UpdateDownloader</name>
    <message>
        <source>无法写入更新暂存目录：%1</source>
        <translation>Cannot write to the update staging folder: %1</translation>
    </message>
    <message>
        <source>更新包比更新清单所写的大，已停止下载。</source>
        <translation>The update package is larger than the update manifest says; the download was stopped.</translation>
    </message>
    <message>
        <source>下载更新失败：服务器 %1 秒没有发送数据。</source>
        <translation>The update download failed: the server sent nothing for %1 seconds.</translation>
    </message>
    <message>
        <source>下载更新失败：%1</source>
        <translation>The update download failed: %1</translation>
    </message>
    <message>
        <source>更新包下载不完整（收到 %1 字节，应为 %2 字节）。</source>
        <translation>The update package arrived incomplete (%1 of %2 bytes).</translation>
    </message>
    <message>
        <source>更新包校验失败：SHA-256 与签名的更新清单不符，已删除。</source>
        <translation>The update package failed its check: its SHA-256 does not match the signed update manifest. It was deleted.</translation>
    </message>
    <message>
        <source>无法暂存更新：%1</source>
        <translation>Cannot stage the update: %1</translation>
    </message>
    <message>
        <source>更新包无法解开：%1</source>
        <translation>The update package cannot be unpacked: %1</translation>
    </message>
</context>
<context>
    <name>UpdateManifest</name>
    <message>
        <source>更新清单格式无效。</source>
        <translation>The update manifest is not in a valid format.</translation>
    </message>
    <message>
        <source>更新清单的签名无效，已拒绝。</source>
        <translation>The update manifest signature is invalid; it was refused.</translation>
    </message>
    <message>
        <source>更新清单内容无效。</source>
        <translation>The update manifest content is invalid.</translation>
    </message>
</context>
<context>
    <name>UpdateService</name>
    <message>
        <source>未设置有效的更新清单地址，更新检查已关闭。</source>
        <translation>No valid update manifest URL is set; update checks are off.</translation>
    </message>
    <message>
        <source>更新清单过大，已拒绝。</source>
        <translation>The update manifest is too large; it was refused.</translation>
    </message>
    <message>
        <source>无法获取更新信息：服务器 %1 秒没有响应。</source>
        <translation>Cannot get update information: the server did not answer within %1 seconds.</translation>
    </message>
    <message>
        <source>无法获取更新信息：%1</source>
        <translation>Cannot get update information: %1</translation>
    </message>
    <message>
        <source>版本 %1 没有适用于本平台（%2）的安装包。</source>
        <translation>Version %1 has no package for this platform (%2).</translation>
    </message>
</context>
<context>
    <name>WeatherService</name>
    <message>
        <source>机场代码不能为空</source>
        <translation>The airport code must not be empty</translation>
    </message>
    <message>
        <source>未连接模拟器</source>
        <translation>No simulator connected</translation>
    </message>
    <message>
        <source>当前模拟器不支持天气注入</source>
        <translation>This simulator cannot take weather injection</translation>
    </message>
</context>
<context>
    <name>WeatherTab</name>
    <message>
        <source>机场</source>
        <translation>Airport</translation>
    </message>
    <message>
        <source>ICAO</source>
        <translation>ICAO</translation>
    </message>
    <message>
        <source>关注</source>
        <translation>Watch</translation>
    </message>
    <message>
        <source>取消关注</source>
        <translation>Unwatch</translation>
    </message>
    <message>
        <source>获取全部 METAR</source>
        <translation>Fetch all METARs</translation>
    </message>
    <message>
        <source>自动刷新</source>
        <translation>Refresh automatically</translation>
    </message>
    <message>
        <source>METAR</source>
        <translation>METAR</translation>
    </message>
    <message>
        <source>注入此天气</source>
        <translation>Inject this weather</translation>
    </message>
    <message>
        <source>填入自定义天气</source>
        <translation>Copy to custom weather</translation>
    </message>
    <message>
        <source>自定义天气</source>
        <translation>Custom weather</translation>
    </message>
    <message>
        <source>预设</source>
        <translation>Preset</translation>
    </message>
    <message>
        <source>晴好</source>
        <translation>Fair</translation>
    </message>
    <message>
        <source>低云</source>
        <translation>Low cloud</translation>
    </message>
    <message>
        <source>侧风</source>
        <translation>Crosswind</translation>
    </message>
    <message>
        <source>大雾</source>
        <translation>Fog</translation>
    </message>
    <message>
        <source>雷雨</source>
        <translation>Thunderstorm</translation>
    </message>
    <message>
        <source>风向</source>
        <translation>Wind direction</translation>
    </message>
    <message>
        <source>风速</source>
        <translation>Wind speed</translation>
    </message>
    <message>
        <source>阵风</source>
        <translation>Gust</translation>
    </message>
    <message>
        <source>能见度</source>
        <translation>Visibility</translation>
    </message>
    <message>
        <source>温度</source>
        <translation>Temperature</translation>
    </message>
    <message>
        <source>露点</source>
        <translation>Dew point</translation>
    </message>
    <message>
        <source>QNH</source>
        <translation>QNH</translation>
    </message>
    <message>
        <source>降水</source>
        <translation>Precipitation</translation>
    </message>
    <message>
        <source>颠簸</source>
        <translation>Turbulence</translation>
    </message>
    <message>
        <source>云层 1 (海拔)</source>
        <translation>Cloud layer 1 (MSL)</translation>
    </message>
    <message>
        <source>云层 2 (海拔)</source>
        <translation>Cloud layer 2 (MSL)</translation>
    </message>
    <message>
        <source>云层 3 (海拔)</source>
        <translation>Cloud layer 3 (MSL)</translation>
    </message>
    <message>
        <source>无</source>
        <translation>None</translation>
    </message>
    <message>
        <source>小</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>中</source>
        <translation>Moderate</translation>
    </message>
    <message>
        <source>大</source>
        <translation>Heavy</translation>
    </message>
    <message>
        <source>轻度</source>
        <translation>Light</translation>
    </message>
    <message>
        <source>中度</source>
        <translation>Moderate</translation>
    </message>
    <message>
        <source>强烈</source>
        <translation>Severe</translation>
    </message>
    <message>
        <source>注入自定义天气</source>
        <translation>Inject custom weather</translation>
    </message>
    <message>
        <source>注入失败：%1</source>
        <translation>Injection failed: %1</translation>
    </message>
    <message>
        <source>出发</source>
        <translation>Departure</translation>
    </message>
    <message>
        <source>到达</source>
        <translation>Arrival</translation>
    </message>
    <message>
        <source>获取失败</source>
        <translation>Fetch failed</translation>
    </message>
    <message>
        <source>未获取</source>
        <translation>Not fetched</translation>
    </message>
    <message>
        <source>没有机场：先规划航路或关注一个机场</source>
        <translation>No airports: plan a route or watch an airport first</translation>
    </message>
    <message>
        <source>正在获取 %1 …</source>
        <translation>Fetching %1 …</translation>
    </message>
    <message>
        <source>已收到 %1 的 METAR</source>
        <translation>METAR of %1 received</translation>
    </message>
    <message>
        <source>%1 的 METAR 获取失败：%2</source>
        <translation>Fetching the METAR of %1 failed: %2</translation>
    </message>
    <message>
        <source>没有选中机场</source>
        <translation>No airport selected</translation>
    </message>
    <message>
        <source>%1：获取失败（%2）</source>
        <translation>%1: fetch failed (%2)</translation>
    </message>
    <message>
        <source>%1：尚未获取 METAR</source>
        <translation>%1: no METAR fetched yet</translation>
    </message>
    <message>
        <source>未报告</source>
        <translation>not reported</translation>
    </message>
    <message>
        <source>风向不定 %1 kt</source>
        <translation>variable %1 kt</translation>
    </message>
    <message>
        <source>%1° %2 kt</source>
        <translation>%1° %2 kt</translation>
    </message>
    <message>
        <source>，阵风 %1 kt</source>
        <translation>, gusting %1 kt</translation>
    </message>
    <message>
        <source>%1 hPa (%2 inHg)</source>
        <translation>%1 hPa (%2 inHg)</translation>
    </message>
    <message>
        <source>%1 hPa</source>
        <translation>%1 hPa</translation>
    </message>
    <message>
        <source>站点：%1  观测时间：%2</source>
        <translation>Station: %1  observed: %2</translation>
    </message>
    <message>
        <source>风：%1</source>
        <translation>Wind: %1</translation>
    </message>
    <message>
        <source>能见度：%1</source>
        <translation>Visibility: %1</translation>
    </message>
    <message>
        <source>%1 m</source>
        <translation>%1 m</translation>
    </message>
    <message>
        <source>天气现象：%1</source>
        <translation>Weather: %1</translation>
    </message>
    <message>
        <source>云：%1</source>
        <translation>Clouds: %1</translation>
    </message>
    <message>
        <source>温度/露点：%1</source>
        <translation>Temperature/dew point: %1</translation>
    </message>
    <message>
        <source>%1 / %2 °C</source>
        <translation>%1 / %2 °C</translation>
    </message>
    <message>
        <source>气压：%1</source>
        <translation>Pressure: %1</translation>
    </message>
    <message>
        <source>没有可注入的 METAR</source>
        <translation>No METAR to inject</translation>
    </message>
    <message>
        <source>已注入 %1 的天气</source>
        <translation>Weather of %1 injected</translation>
    </message>
    <message>
        <source>已注入自定义天气</source>
        <translation>Custom weather injected</translation>
    </message>
</context>
</TS>
